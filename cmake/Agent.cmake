# raidwatch, the host agent. It sees of the libraries what any other host would see: the staged
# public headers and the exported names.

file(GLOB_RECURSE AGENT_SOURCES CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/agent/*.cpp")
set(AGENT_MAIN "${PROJECT_SOURCE_DIR}/agent/main.cpp")
list(REMOVE_ITEM AGENT_SOURCES "${AGENT_MAIN}")
# The modules, below.
list(FILTER AGENT_SOURCES EXCLUDE REGEX "/agent/(web/module|nats)/")
if(QEL_FUZZ)
    # What no fuzzer links; compiling it for them would take minutes.
    list(FILTER AGENT_SOURCES EXCLUDE REGEX "/agent/(sinks|doctor)/|/agent/commands/.*Verb\\.cpp$")
endif()
if(NOT EXISTS "${AGENT_MAIN}" OR NOT AGENT_SOURCES)
    message(FATAL_ERROR "agent/ holds no main.cpp or nothing else; -DQEL_BUILD_AGENT=OFF skips it")
endif()

find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(LibArchive REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(CURL REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(tomlplusplus REQUIRED IMPORTED_TARGET tomlplusplus)
pkg_check_modules(systemd REQUIRED IMPORTED_TARGET libsystemd)
pkg_check_modules(httplib REQUIRED IMPORTED_TARGET cpp-httplib)
pkg_check_modules(nats IMPORTED_TARGET libnats)
if(NOT nats_FOUND)
    message(FATAL_ERROR "libnats is missing; scripts/install-packages build installs libnats-dev")
endif()

# What `raidwatch explain` says is built into the program.
set(meanings "${PROJECT_SOURCE_DIR}/catalogue/meanings.json")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${meanings}")
file(READ "${meanings}" QEL_MEANINGS)
configure_file("${PROJECT_SOURCE_DIR}/cmake/Meanings.cpp.in"
               "${PROJECT_BINARY_DIR}/generated/Meanings.cpp" @ONLY)

# So is the description of what it serves.
set(openapi "${PROJECT_SOURCE_DIR}/docs/formats/openapi.json")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${openapi}")
file(READ "${openapi}" QEL_OPENAPI)
configure_file("${PROJECT_SOURCE_DIR}/cmake/OpenApi.cpp.in"
               "${PROJECT_BINARY_DIR}/generated/OpenApi.cpp" @ONLY)

# So are the files that the web page refers to.
foreach(asset STYLE=style.css SCRIPT=page.js ICON=icon.svg)
    string(REPLACE "=" ";" asset "${asset}")
    list(GET asset 0 name)
    list(GET asset 1 file)
    set(file "${PROJECT_SOURCE_DIR}/agent/page/assets/${file}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
    file(READ "${file}" QEL_PAGE_${name})
endforeach()
configure_file("${PROJECT_SOURCE_DIR}/cmake/PageAssets.cpp.in"
               "${PROJECT_BINARY_DIR}/generated/PageAssets.cpp" @ONLY)

# Everything but main, so that tests can link it.
add_library(raidwatch_core STATIC ${AGENT_SOURCES}
    "${PROJECT_BINARY_DIR}/generated/Meanings.cpp" "${PROJECT_BINARY_DIR}/generated/OpenApi.cpp"
    "${PROJECT_BINARY_DIR}/generated/PageAssets.cpp")
target_include_directories(raidwatch_core PUBLIC "${QEL_OWN_INCLUDE}")
target_compile_definitions(raidwatch_core PRIVATE QEL_VERSION="${PROJECT_VERSION}")
target_link_libraries(raidwatch_core PRIVATE qel_flags
    PUBLIC qel storvant CLI11::CLI11 nlohmann_json::nlohmann_json SQLite::SQLite3
           PkgConfig::tomlplusplus Threads::Threads ${CMAKE_DL_LIBS})
# Of these three only the headers: they are loaded when they are needed (agent/LateLibrary.h), because
# with what they pull in they would be most of an idle daemon.
target_include_directories(raidwatch_core SYSTEM PUBLIC
    ${CURL_INCLUDE_DIRS} ${LibArchive_INCLUDE_DIRS} ${systemd_INCLUDE_DIRS})

# A daemon that stands for years: what it holds in memory counts, and its own code is never what
# takes time. The libraries are made for speed. For the sanitizers it is compiled as fast as it can be.
if(NOT QEL_SANITIZE)
    target_compile_options(raidwatch_core PRIVATE $<$<NOT:$<CONFIG:Debug>>:-Os>)
elseif(NOT QEL_FUZZ)
    target_compile_options(raidwatch_core PRIVATE -O0)
endif()

add_executable(raidwatch "${AGENT_MAIN}")
target_compile_definitions(raidwatch PRIVATE QEL_VERSION="${PROJECT_VERSION}")
target_link_libraries(raidwatch PRIVATE qel_flags raidwatch_core)
# Linked with the path that it is installed with. CMake makes room for changing a path by empty
# elements, and the loader takes an empty one for the folder that the program is started in.
set(run_path "$ORIGIN/../lib" "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
list(REMOVE_DUPLICATES run_path)
set_target_properties(raidwatch PROPERTIES
    INSTALL_RPATH "${run_path}" BUILD_WITH_INSTALL_RPATH ON)
add_dependencies(raidwatch catalogue)

# What speaks HTTP, a module of its own that the program loads when the first web client comes: the
# library below it brings more along than the rest of the daemon together.
add_library(raidwatch_http MODULE "${PROJECT_SOURCE_DIR}/agent/web/module/HttplibExchange.cpp")
target_include_directories(raidwatch_http PRIVATE "${QEL_OWN_INCLUDE}")
target_link_libraries(raidwatch_http PRIVATE qel_flags PkgConfig::httplib)
set_target_properties(raidwatch_http PROPERTIES PREFIX "" OUTPUT_NAME raidwatch-http
                      CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
                      SKIP_BUILD_RPATH ON)
add_dependencies(raidwatch raidwatch_http)

# What speaks to the server of a fleet: loaded when a sink of type nats is configured, and a package
# of its own. It links nothing of the program; agent/fleet/FleetLink.h is all that both share.
file(GLOB QEL_NATS_SOURCES CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/agent/nats/*.cpp")
add_library(raidwatch_nats MODULE ${QEL_NATS_SOURCES})
target_include_directories(raidwatch_nats PRIVATE "${PROJECT_SOURCE_DIR}")
target_link_libraries(raidwatch_nats PRIVATE qel_flags nlohmann_json::nlohmann_json
                      PkgConfig::nats Threads::Threads)
set_target_properties(raidwatch_nats PROPERTIES PREFIX "" OUTPUT_NAME raidwatch-nats
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    LIBRARY_OUTPUT_DIRECTORY "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/raidwatch")
add_dependencies(raidwatch raidwatch_nats)

foreach(module http nats)
    set(map "${PROJECT_SOURCE_DIR}/cmake/raidwatch-${module}.map")
    target_link_options(raidwatch_${module} PRIVATE "-Wl,--version-script=${map}")
    set_target_properties(raidwatch_${module} PROPERTIES LINK_DEPENDS "${map}")
endforeach()
