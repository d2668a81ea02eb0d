# The page in a real browser; of the plain 64-bit build only. `ctest -L browser` runs it alone,
# tests/browser/run what it does. Pictures of it are in browser/screenshots of the build folder.

if(NOT QEL_REPO_CHECKS OR NOT QEL_BUILD_AGENT)
    return()
endif()

qel_add_check(Browser.Page "${room}" "${PROJECT_SOURCE_DIR}/tests/browser/run"
              "${PROJECT_BINARY_DIR}")
# 77: there is no browser, or npm cannot be reached; ctest lists the test as skipped.
set_tests_properties("${QEL_TEST_PREFIX}Browser.Page" PROPERTIES
                     LABELS browser SKIP_RETURN_CODE 77)
