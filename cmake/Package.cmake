# Tests of the packages, of the unit and of the completions; of the plain 64-bit build only, because
# that is what is packed. `ctest -L packaging` runs them alone.

if(NOT QEL_REPO_CHECKS OR NOT QEL_BUILD_AGENT)
    return()
endif()

set(tests "${PROJECT_SOURCE_DIR}/tests/packaging")
qel_add_check(Packaging.Completion "${tests}/completion_test.py" "$<TARGET_FILE:raidwatch>")
qel_add_check(Packaging.Unit "${tests}/unit_test.sh")
qel_add_check(Packaging.Packages "${tests}/package_test.sh" "${PROJECT_BINARY_DIR}")
foreach(name Completion Unit Packages)
    # 77: this machine cannot make a clean Debian; ctest lists the test as skipped.
    set_tests_properties("${QEL_TEST_PREFIX}Packaging.${name}" PROPERTIES
                         LABELS packaging SKIP_RETURN_CODE 77)
endforeach()
