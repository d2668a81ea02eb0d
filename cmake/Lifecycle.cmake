# The life of a monitor from construction to destruction, as a host program of its own: counted
# (nothing may grow), and under valgrind in the builds without a sanitizer. scripts/cycles is the
# long form.

add_executable(lifecycle "${PROJECT_SOURCE_DIR}/tests/lifecycle/lifecycle.cpp")
target_compile_definitions(lifecycle PRIVATE QEL_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
target_include_directories(lifecycle PRIVATE "${QEL_OWN_INCLUDE}")
target_link_libraries(lifecycle PRIVATE qel_flags qel storvant Threads::Threads)

set(life "${room}" "$<TARGET_FILE:lifecycle>")
file(GLOB stories CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/storlib/sources/scenarios/*.json")
qel_add_check(Lifecycle.Starts ${life} --starts 300)
qel_add_check(Lifecycle.Monitors ${life} --monitors 300)
qel_add_check(Lifecycle.Scenarios ${life} ${stories})
set(names Lifecycle.Starts Lifecycle.Monitors Lifecycle.Scenarios)

if(NOT QEL_SANITIZE)
    qel_add_check(Valgrind.Lifecycle "${room}" "${PROJECT_SOURCE_DIR}/tests/lifecycle/under-valgrind"
                  "$<TARGET_FILE:lifecycle>" ${stories})
    # 77: valgrind, or what it needs for this word size, is not installed; listed as skipped.
    set_tests_properties("${QEL_TEST_PREFIX}Valgrind.Lifecycle" PROPERTIES SKIP_RETURN_CODE 77)
    list(APPEND names Valgrind.Lifecycle)
endif()
list(TRANSFORM names PREPEND "${QEL_TEST_PREFIX}")
set_tests_properties(${names} PROPERTIES LABELS lifecycle ${semaphore_lock})
