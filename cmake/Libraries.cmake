# The two libraries. Each is compiled once; the shared and the static form share their objects.
#
#   storvant, qel                 what is delivered
#   storvant_static, qel_static   what unit tests link: they reach private classes, and the engine,
#                                 not being mapped as a library, takes "./" for its folder

file(GLOB STORVANT_SOURCES CONFIGURE_DEPENDS
     "${PROJECT_SOURCE_DIR}/storlib/*.cpp" "${PROJECT_SOURCE_DIR}/storlib/sources/*.cpp")
file(GLOB QEL_SOURCES CONFIGURE_DEPENDS
     "${PROJECT_SOURCE_DIR}/monitor/*.cpp" "${PROJECT_SOURCE_DIR}/events/*.cpp"
     "${PROJECT_SOURCE_DIR}/nls/*.cpp" "${PROJECT_SOURCE_DIR}/xml/*.cpp"
     "${PROJECT_SOURCE_DIR}/snapshot/*.cpp" "${PROJECT_SOURCE_DIR}/util/*.cpp")

find_package(Threads REQUIRED)

# qel_add_library(<target> <output name> <sources variable> [libraries it stands on])
function(qel_add_library target output sources)
    add_library(${target}_objects OBJECT ${${sources}})
    target_include_directories(${target}_objects PRIVATE "${PROJECT_SOURCE_DIR}")
    target_link_libraries(${target}_objects PRIVATE qel_flags Threads::Threads)
    # Nobody replaces single functions of a library at run time, so calls inside it may be inlined.
    target_compile_options(${target}_objects PRIVATE -fno-semantic-interposition)

    add_library(${target} SHARED $<TARGET_OBJECTS:${target}_objects>)
    set(map "${PROJECT_SOURCE_DIR}/cmake/lib${output}.map")
    target_link_options(${target} PRIVATE "-Wl,--version-script=${map}")
    set_target_properties(${target} PROPERTIES
        OUTPUT_NAME ${output} EXPORT_NAME ${output} LINK_DEPENDS "${map}"
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
        INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON LINKER_LANGUAGE CXX)
    target_include_directories(${target} INTERFACE
        "$<BUILD_INTERFACE:${QEL_PUBLIC_INCLUDE}>" "$<INSTALL_INTERFACE:include/qel>")
    target_compile_features(${target} INTERFACE cxx_std_17)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:qel_flags> Threads::Threads
                          PUBLIC ${ARGN})
    add_library(QEL::${output} ALIAS ${target})

    add_library(${target}_static STATIC $<TARGET_OBJECTS:${target}_objects>)
    set_target_properties(${target}_static PROPERTIES LINKER_LANGUAGE CXX)
    target_include_directories(${target}_static PUBLIC "${PROJECT_SOURCE_DIR}")
    list(TRANSFORM ARGN APPEND _static)
    target_link_libraries(${target}_static PUBLIC ${ARGN} Threads::Threads)
endfunction()

qel_add_library(storvant STORVANT STORVANT_SOURCES)
qel_add_library(qel QEL QEL_SOURCES storvant)

# The engine reads its catalogue beside its own library file.
file(GLOB QEL_CATALOGUES CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/catalogue/*.properties")
set(copies "")
foreach(catalogue IN LISTS QEL_CATALOGUES)
    get_filename_component(name "${catalogue}" NAME)
    set(copy "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/${name}")
    add_custom_command(OUTPUT "${copy}" DEPENDS "${catalogue}" VERBATIM
                       COMMAND ${CMAKE_COMMAND} -E copy "${catalogue}" "${copy}")
    list(APPEND copies "${copy}")
endforeach()
add_custom_target(catalogue ALL DEPENDS ${copies})
