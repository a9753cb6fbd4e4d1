# Language level, warnings, instrumentation and the libraries that everything may use.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

include(GNUInstallDirs)
# Of programs that the agent starts and people don't.
set(HARROWMINT_LIBEXEC_DIR ${CMAKE_INSTALL_LIBEXECDIR}/harrowmint-printer)

find_program(HARROWMINT_CCACHE ccache)
if(HARROWMINT_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Precompiled headers need this sloppiness, or ccache passes every file on.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${HARROWMINT_CCACHE})
endif()

find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui Widgets DBus)
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(simdjson REQUIRED)
pkg_check_modules(QRENCODE REQUIRED IMPORTED_TARGET libqrencode)
find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)

add_library(harrowmint_options INTERFACE)
target_include_directories(harrowmint_options INTERFACE ${CMAKE_SOURCE_DIR}/src)
target_compile_definitions(harrowmint_options INTERFACE
    QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)
target_compile_options(harrowmint_options INTERFACE -Wall -Wextra -Wpedantic)
if(HARROWMINT_WERROR)
    target_compile_options(harrowmint_options INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(harrowmint_options INTERFACE -fpch-preprocess)
endif()
if(HARROWMINT_SANITIZE)
    target_compile_options(harrowmint_options INTERFACE -fsanitize=${HARROWMINT_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    target_link_options(harrowmint_options INTERFACE -fsanitize=${HARROWMINT_SANITIZE})
endif()
if(HARROWMINT_FUZZ)
    target_compile_options(harrowmint_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(HARROWMINT_COVERAGE)
    target_compile_options(harrowmint_options INTERFACE --coverage -fno-inline -fprofile-update=atomic)
    target_link_options(harrowmint_options INTERFACE --coverage)
endif()
