# Configures as for macOS on another system, to see which sources macOS compiles (packaging/macos/typecheck); nothing can
# be built with it. The libraries found are those of this system, for the names of their targets only.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
find_program(HARROWMINT_CHECK_COMPILER clang++-14 REQUIRED)
foreach(language C CXX OBJC OBJCXX)
    set(CMAKE_${language}_COMPILER ${HARROWMINT_CHECK_COMPILER})
    set(CMAKE_${language}_COMPILER_TARGET arm64-apple-macos12)
    set(CMAKE_${language}_COMPILER_ID Clang)
    set(CMAKE_${language}_COMPILER_VERSION 14.0.6)
    set(CMAKE_${language}_STANDARD_COMPUTED_DEFAULT 17)
    set(CMAKE_${language}_EXTENSIONS_COMPUTED_DEFAULT OFF)
    set(CMAKE_${language}_COMPILE_FEATURES cxx_std_98 cxx_std_11 cxx_std_14 cxx_std_17 cxx_std_20
        cxx_decltype cxx_auto_type cxx_alias_templates cxx_variadic_templates)
    # Compiler identification and try-compile both want an SDK.
    set(CMAKE_${language}_COMPILER_FORCED ON)
endforeach()
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_SIZEOF_VOID_P 8)
set(CMAKE_HAVE_LIBC_PTHREAD TRUE)
set(HAVE_STDATOMIC TRUE)
set(CMAKE_OSX_SYSROOT "")
# Asked for, never used.
set(CMAKE_INSTALL_NAME_TOOL true)
# Where this system keeps the packages of its libraries.
find_program(HARROWMINT_CHECK_QMAKE NAMES qmake6 qmake REQUIRED)
execute_process(COMMAND ${HARROWMINT_CHECK_QMAKE} -query QT_INSTALL_LIBS OUTPUT_VARIABLE libraries OUTPUT_STRIP_TRAILING_WHITESPACE)
get_filename_component(CMAKE_LIBRARY_ARCHITECTURE ${libraries} NAME)
set(CMAKE_PREFIX_PATH /usr)
# Qt asks for it; a name is enough where nothing is linked.
set(OPENGL_gl_LIBRARY OpenGL)
set(OPENGL_INCLUDE_DIR /)
