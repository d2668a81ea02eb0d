# How every object of this repository is compiled and linked.
#
# qel_flags      everything that we write links to it: warnings and hardening.
# Sanitizers and the language level are set for the whole build, GoogleTest included.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Debug, Release or RelWithDebInfo" FORCE)
endif()

find_program(QEL_CCACHE ccache)
if(QEL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${QEL_CCACHE}")
endif()

include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(qel_flags INTERFACE)
# A text that comes from elsewhere is never a format: that is an error also where warnings are not.
target_compile_options(qel_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast
    -Wformat -Wformat-security -Werror=format-security
    $<$<BOOL:${QEL_WERROR}>:-Werror>
    -fstack-protector-strong)
target_link_options(qel_flags INTERFACE
    -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,-z,text -Wl,--as-needed)
# What not every compiler has for every processor. scripts/check-hardening looks at the result.
include(CheckCXXCompilerFlag)
foreach(option stack-clash-protection cf-protection)
    string(MAKE_C_IDENTIFIER "QEL_HAS_${option}" has)
    check_cxx_compiler_flag("-f${option}" ${has})
    if(${has})
        target_compile_options(qel_flags INTERFACE "-f${option}")
    endif()
endforeach()

if(QEL_SANITIZE)
    add_compile_options(-fsanitize=${QEL_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    # The sanitizers load libraries in the program's place, and the loader then asks for their run
    # path, not for the program's. A path of the older kind counts for all.
    add_link_options(-fsanitize=${QEL_SANITIZE} -Wl,--disable-new-dtags)
else()
    # Fortified calls hide errors from the sanitizers, and those leave their own runtime undefined.
    target_compile_options(qel_flags INTERFACE
        $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=3>)
    target_link_options(qel_flags INTERFACE -Wl,-z,defs)
endif()
