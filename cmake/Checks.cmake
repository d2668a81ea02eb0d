# Checks of the sources that are part of every build.

find_package(Python3 REQUIRED COMPONENTS Interpreter)

file(GLOB_RECURSE checked CONFIGURE_DEPENDS
     "${PROJECT_SOURCE_DIR}/monitor/*" "${PROJECT_SOURCE_DIR}/events/*"
     "${PROJECT_SOURCE_DIR}/nls/*" "${PROJECT_SOURCE_DIR}/xml/*"
     "${PROJECT_SOURCE_DIR}/snapshot/*" "${PROJECT_SOURCE_DIR}/util/*"
     "${PROJECT_SOURCE_DIR}/storlib/*" "${PROJECT_SOURCE_DIR}/agent/*")
list(FILTER checked INCLUDE REGEX "\\.(h|cpp)$")
set(stamp "${PROJECT_BINARY_DIR}/includes.checked")
add_custom_command(OUTPUT "${stamp}"
    COMMAND Python3::Interpreter "${PROJECT_SOURCE_DIR}/scripts/check-includes" --quiet
    COMMAND ${CMAKE_COMMAND} -E touch "${stamp}"
    DEPENDS ${checked} "${PROJECT_SOURCE_DIR}/scripts/check-includes"
            "${PROJECT_SOURCE_DIR}/docs/architecture.md"
    COMMENT "Checking who includes whom" VERBATIM)
add_custom_target(check-includes ALL DEPENDS "${stamp}")
