# The test programs and the checks that ctest runs.
#
#   unit_tests    tests/*Test.cpp, tests/faults/*Test.cpp
#                                        static libraries, private headers
#   host_tests    tests/host/*Test.cpp   shared libraries, installed headers: what a host sees
#   agent_tests   tests/agent/*Test.cpp  raidwatch without its main; also tests/agent/faults/
#
# Every test case is a ctest test of its own, started by scripts/in-test-room (fixed time zone and
# locale, a private set of System V semaphores) in an empty folder of the build tree.

set(gtest_source "/usr/src/googletest" CACHE PATH "GoogleTest's sources (package googletest)")
add_subdirectory("${gtest_source}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
include(GoogleTest)

set(room "${PROJECT_SOURCE_DIR}/scripts/in-test-room")
set(QEL_TEST_CWD "${PROJECT_BINARY_DIR}/cwd")
file(MAKE_DIRECTORY "${QEL_TEST_CWD}")

# The engine's queue is locked by one semaphore for the whole machine. Where a test may not have a
# set of its own, tests that might touch it run one after the other.
set(semaphore_lock "")
execute_process(COMMAND "${room}" --probe RESULT_VARIABLE no_private_semaphores)
if(no_private_semaphores)
    message(WARNING "No private IPC namespace here (unshare -i fails): tests share this machine's "
                    "semaphore with every running monitor, and therefore run one at a time.")
    set(semaphore_lock RESOURCE_LOCK machine-semaphore)
endif()

# qel_add_tests(<target> <sources...>): a GoogleTest program whose cases ctest runs one by one.
function(qel_add_tests target)
    add_executable(${target} ${ARGN})
    target_compile_definitions(${target} PRIVATE
        QEL_SOURCE_DIR="${PROJECT_SOURCE_DIR}" QEL_BINARY_DIR="${PROJECT_BINARY_DIR}")
    target_link_libraries(${target} PRIVATE qel_flags GTest::gmock GTest::gtest_main)
    # Tests are compiled longer than they run: half of that is optimising them and describing their
    # variables, with sanitizers more. What they test keeps the flags of the build.
    set(effort -O1)
    if(QEL_SANITIZE)
        set(effort -O0)
    endif()
    target_compile_options(${target} PRIVATE ${effort} -g1)
    set_target_properties(${target} PROPERTIES CROSSCOMPILING_EMULATOR "${room}")
    add_dependencies(${target} catalogue)
    gtest_discover_tests(${target}
        TEST_PREFIX "${QEL_TEST_PREFIX}" WORKING_DIRECTORY "${QEL_TEST_CWD}"
        DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 300 ${semaphore_lock})
endfunction()

option(QEL_TSAN_WHOLE "With ThreadSanitizer, build tests without a second thread as well" OFF)

# qel_only_with_threads(<list of sources> [patterns]): in a build with ThreadSanitizer takes out of the
# list the tests that have no second thread, for there it has nothing to see. Tests that have one say
# so with std::thread, or use something that matches a pattern.
function(qel_only_with_threads list)
    if(NOT QEL_SANITIZE MATCHES "thread" OR QEL_TSAN_WHOLE)
        return()
    endif()
    set(patterns "std::thread" "std::async" "LockRoom" ${ARGN})
    list(JOIN patterns "|" patterns)
    set(kept "")
    foreach(source IN LISTS ${list})
        file(STRINGS "${source}" hits LIMIT_COUNT 1 REGEX "${patterns}")
        if(hits)
            list(APPEND kept "${source}")
        endif()
    endforeach()
    set(${list} ${kept} PARENT_SCOPE)
endfunction()

file(GLOB support CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/support/*.cpp")

file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/*Test.cpp"
     "${PROJECT_SOURCE_DIR}/tests/faults/*Test.cpp")
qel_only_with_threads(sources)
if(sources)
    qel_add_tests(unit_tests ${sources} ${support})
    target_link_libraries(unit_tests PRIVATE qel_static storvant_static)
endif()

file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/host/*Test.cpp")
if(sources)
    qel_add_tests(host_tests ${sources})
    target_include_directories(host_tests PRIVATE "${QEL_OWN_INCLUDE}")
    target_link_libraries(host_tests PRIVATE qel storvant)
endif()

file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/agent/*Test.cpp"
     "${PROJECT_SOURCE_DIR}/tests/agent/faults/*Test.cpp")
qel_only_with_threads(sources DaemonRoom ServerProcess NetFixture LocalService MonitorThread Pipeline
    SinkWorker SinkSet SinkPump ControlServer StopSignal IdleMemory "Spool spool")
if(QEL_SANITIZE MATCHES "thread" AND NOT QEL_TSAN_WHOLE)
    # Kills, storms and recordings of hours: their threads are those of other tests.
    list(FILTER sources EXCLUDE REGEX "/(Kill|IncidentStorm|Replayer|Recording)Test.cpp$")
endif()
if(sources AND QEL_BUILD_AGENT)
    qel_add_tests(agent_tests ${sources} "${PROJECT_SOURCE_DIR}/agent/nats/PublishAnswer.cpp")
    if(QEL_SANITIZE)
        # g++ 12 finds uninitialised members inside <regex> when sanitizers are on; there are none.
        set_source_files_properties(
            "${PROJECT_SOURCE_DIR}/tests/agent/JournalCatalogTest.cpp"
            "${PROJECT_SOURCE_DIR}/tests/agent/LateLibraryTest.cpp"
            "${PROJECT_SOURCE_DIR}/tests/agent/MetricsRulesTest.cpp"
            PROPERTIES COMPILE_OPTIONS "-Wno-maybe-uninitialized")
    endif()
    target_compile_definitions(agent_tests PRIVATE
        QEL_RAIDWATCH="$<TARGET_FILE:raidwatch>")
    # Many machines in one process, for FleetProofTest and scripts/fleet-proof.
    add_executable(fleet_agents "${PROJECT_SOURCE_DIR}/tests/fleet/FleetAgents.cpp")
    target_link_libraries(fleet_agents PRIVATE qel_flags raidwatch_core PkgConfig::httplib)
    target_link_libraries(agent_tests PRIVATE raidwatch_core LibArchive::LibArchive
                          PkgConfig::httplib)
    add_dependencies(agent_tests raidwatch raidwatch_nats fleet_agents)
endif()

# qel_add_check(<name> <command...>): a plain command, run from the repository root.
function(qel_add_check name)
    add_test(NAME "${QEL_TEST_PREFIX}${name}" COMMAND ${ARGN}
             WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}")
    set_tests_properties("${QEL_TEST_PREFIX}${name}" PROPERTIES TIMEOUT 1800)
endfunction()

set(scripts "${PROJECT_SOURCE_DIR}/scripts")
if(NOT QEL_SANITIZE)
    set(built "$<TARGET_FILE:qel>" "$<TARGET_FILE:storvant>")
    if(QEL_BUILD_AGENT)
        list(APPEND built "$<TARGET_FILE:raidwatch_http>" "$<TARGET_FILE:raidwatch_nats>")
    endif()
    qel_add_check(ExportedSymbols "${scripts}/check-symbols" ${built})
    if(QEL_BUILD_AGENT)
        list(APPEND built "$<TARGET_FILE:raidwatch>")
    endif()
    if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
        qel_add_check(Hardening "${scripts}/check-hardening" ${built})
    endif()
endif()
if(QEL_REPO_CHECKS)
    qel_add_check(Sources.Includes "${scripts}/check-includes")
    qel_add_check(Sources.IncludesChecker "${PROJECT_SOURCE_DIR}/tests/scripts/check_includes_test")
    qel_add_check(Sources.HardeningChecker
                  "${PROJECT_SOURCE_DIR}/tests/scripts/check_hardening_test")
    qel_add_check(Sources.VoiceChecker "${PROJECT_SOURCE_DIR}/tests/scripts/check_voice_test")
    qel_add_check(Sources.TestNames "${scripts}/check-test-names")
    qel_add_check(Sources.TestNamesChecker
                  "${PROJECT_SOURCE_DIR}/tests/scripts/check_test_names_test")
    qel_add_check(Sources.Format "${scripts}/check-format")
    qel_add_check(Sources.Voice "${scripts}/check-voice")
    qel_add_check(Sources.Formats "${scripts}/check-formats" "${PROJECT_BINARY_DIR}")
    qel_add_check(Sources.Tidy "${scripts}/check-tidy" "${PROJECT_BINARY_DIR}")
    qel_add_check(InstalledTree "${PROJECT_SOURCE_DIR}/tests/scripts/consumer_test"
                  "${PROJECT_BINARY_DIR}")
    file(GLOB shell_tests CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/*_test.sh")
    foreach(shell_test IN LISTS shell_tests)
        get_filename_component(name "${shell_test}" NAME_WE)
        qel_add_check("Sources.${name}" "${shell_test}")
    endforeach()
    qel_add_check(Readme "${PROJECT_SOURCE_DIR}/tests/scripts/readme_test")
    if(QEL_BUILD_AGENT)
        qel_add_check(ReadmeSample "${PROJECT_SOURCE_DIR}/tests/scripts/readme_sample_test"
                      "$<TARGET_FILE:raidwatch>")
        qel_add_check(RaidwatchCommandLine "${room}" "${PROJECT_SOURCE_DIR}/tests/agent/cli_test.sh"
                      "$<TARGET_FILE:raidwatch>")
    endif()
endif()
