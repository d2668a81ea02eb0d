# Stories on a real Linux kernel (docs/reliability.md, tests/lab/README.md); of the plain 64-bit
# build only, because that is what is packed. `ctest -L lab` runs them alone.

if(NOT QEL_REPO_CHECKS OR NOT QEL_BUILD_AGENT)
    return()
endif()

set(lab "${PROJECT_SOURCE_DIR}/tests/lab")
add_executable(lab_shelf "${lab}/guest/shelf.cpp")
target_link_libraries(lab_shelf PRIVATE qel_flags)

qel_add_check(Lab.RealKernel "${lab}/lab" run "${PROJECT_BINARY_DIR}")
# 77: QEMU or the kernel is not installed; ctest lists the test as skipped.
set_tests_properties("${QEL_TEST_PREFIX}Lab.RealKernel" PROPERTIES
                     LABELS lab TIMEOUT 900 SKIP_RETURN_CODE 77)
