# One place for what every target of the project shares: warnings, sanitizers, include root.
include(${CMAKE_CURRENT_LIST_DIR}/IncludeCheck.cmake)

add_library(sms_options INTERFACE)
target_include_directories(sms_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(sms_options INTERFACE -Wall -Wextra -Wshadow -Wmissing-declarations)
if(SMS_WARNINGS_AS_ERRORS)
    target_compile_options(sms_options INTERFACE -Werror)
endif()
# Bytes never become text, nor text bytes, by accident.
target_compile_definitions(sms_options INTERFACE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII)
# Hardening: what a flaw in a decoder could be used for is made harder. Release builds only: FORTIFY needs optimisation.
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# Programs too: they share the libraries' precompiled headers, and -fPIE would shut them out.
target_compile_options(sms_options INTERFACE -fPIC)
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fcf-protection SMS_HAS_CF_PROTECTION)
set(hardened $<CONFIG:Release,RelWithDebInfo>)
target_compile_options(sms_options INTERFACE $<${hardened}:-fstack-protector-strong>
                       $<$<AND:${hardened},$<BOOL:${SMS_HAS_CF_PROTECTION}>>:-fcf-protection>)
if(NOT SMS_SANITIZE)
    target_compile_options(sms_options INTERFACE "$<${hardened}:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>")
endif()
target_link_options(sms_options INTERFACE $<${hardened}:-Wl,-z,relro,-z,now>)
if(SMS_SANITIZE)
    target_compile_options(sms_options INTERFACE -fsanitize=${SMS_SANITIZE} -fno-omit-frame-pointer
                           -fno-sanitize-recover=all)
    target_link_options(sms_options INTERFACE -fsanitize=${SMS_SANITIZE})
endif()
if(SMS_FUZZ)
    # Without it libFuzzer sees nothing of the libraries and gropes in the dark.
    target_compile_options(sms_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# The headers that most sources reach are read once for the whole project, and once more for the tests. Each source
# names what it uses all the same: CMAKE_DISABLE_PRECOMPILE_HEADERS builds too.
set(frequent_headers
    <QByteArray> <QDateTime> <QElapsedTimer> <QFile> <QHash> <QList> <QObject> <QSet> <QString> <QStringList> <QTimer>
    <QVariant> <algorithm> <array> <chrono> <functional> <memory> <optional> <stdexcept> <unordered_map> <variant>)
set(frequent_test_headers <QCoreApplication> <QProcess> <QRegularExpression> <QTemporaryDir> <QtTest/qtestcase.h>)
add_library(sms_headers OBJECT ${CMAKE_CURRENT_LIST_DIR}/FrequentHeaders.cpp)
target_link_libraries(sms_headers PRIVATE sms_options Qt6::Core)
target_precompile_headers(sms_headers PRIVATE ${frequent_headers})
if(SMS_BUILD_TESTS OR SMS_BUILD_BENCHMARKS)
    find_package(Qt6 6.4 REQUIRED COMPONENTS Test)
    # Without the folders of each test, which only QFINDTESTDATA asks for.
    set_property(TARGET Qt6::Test PROPERTY INTERFACE_COMPILE_DEFINITIONS QT_TESTLIB_LIB)
    add_library(sms_test_headers OBJECT ${CMAKE_CURRENT_LIST_DIR}/FrequentHeaders.cpp)
    target_link_libraries(sms_test_headers PRIVATE sms_options Qt6::Core Qt6::Test)
    target_precompile_headers(sms_test_headers PRIVATE ${frequent_headers} ${frequent_test_headers})
endif()

# sms_library(NAME SOURCES file... [LINKS library...])
# A static library for one folder. What it links is what its folder may know.
function(sms_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;LINKS" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    target_link_libraries(${name} PUBLIC sms_options Qt6::Core ${arg_LINKS})
    refuse_wrong_includes(${name} SOURCES ${arg_SOURCES} LINKS ${arg_LINKS})
    target_precompile_headers(${name} REUSE_FROM sms_headers)
endfunction()

# sms_program(NAME SOURCES file... [LINKS library...] [HEADERS target])
# HEADERS: whose precompiled headers it uses, sms_headers when none is named.
function(sms_program name)
    cmake_parse_arguments(arg "" "HEADERS" "SOURCES;LINKS" ${ARGN})
    if(NOT arg_HEADERS)
        set(arg_HEADERS sms_headers)
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE sms_options Qt6::Core ${arg_LINKS})
    refuse_wrong_includes(${name} SOURCES ${arg_SOURCES} LINKS ${arg_LINKS})
    target_precompile_headers(${name} REUSE_FROM ${arg_HEADERS})
endfunction()

# sms_test(NAME [SERVERS] [SOURCES file...] [LINKS library...] [TIMEOUT seconds])
# A QtTest program NAME from NAME.cpp and SOURCES, registered with CTest. No display is needed. SERVERS: it starts
# database or mail servers, which treat root differently: ctest -L servers.
function(sms_test name)
    cmake_parse_arguments(arg "SERVERS" "TIMEOUT" "SOURCES;LINKS" ${ARGN})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    sms_program(${name} SOURCES ${name}.cpp ${arg_SOURCES} LINKS Qt6::Test ${arg_LINKS} HEADERS sms_test_headers)
    add_test(NAME ${name} COMMAND ${name})
    set(environment QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8)
    if(SMS_SANITIZE)
        list(APPEND environment LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/cmake/leaks.supp)
    endif()
    # What may take long begins first.
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} COST ${arg_TIMEOUT} ENVIRONMENT "${environment}")
    if(arg_SERVERS)
        set_tests_properties(${name} PROPERTIES LABELS servers)
    endif()
endfunction()
