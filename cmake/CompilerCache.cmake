# Whoever has ccache compiles only what changed, in every working tree: paths are hashed relative to the tree, and the
# precompiled headers are told by their content.
find_program(SMS_CCACHE ccache)
if(SMS_CCACHE AND "${CMAKE_CXX_COMPILER_LAUNCHER}" MATCHES "^(.*/)?(ccache)?$")
    set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
        CCACHE_SLOPPINESS=pch_defines,time_macros ${SMS_CCACHE})
endif()
