# Writes FILE with the commit that is built: COMMIT when a package names one, else what the working tree is at. A file
# that would be the same is left alone, so that nothing is compiled for it. Run by cmake -P at every build.
cmake_minimum_required(VERSION 3.25)
if(NOT COMMIT)
    execute_process(COMMAND git describe --always --dirty --abbrev=12 OUTPUT_VARIABLE COMMIT
                    OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(NOT COMMIT)
    set(COMMIT unknown)
endif()
file(CONFIGURE OUTPUT ${FILE} CONTENT "#define SMS_COMMIT \"@COMMIT@\"\n" @ONLY)
