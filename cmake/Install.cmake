# What `cmake --install` lays down. The catalogue lies beside the library because that is where the
# engine looks for it.
#
# A distribution package has another layout: the engine keeps its files beside its library file, so
# the libraries get a folder of their own below lib/<triplet>. That layout is the component
# "package", which only scripts/package asks for:
#
#   cmake --install build/x64 --prefix /usr --component package

include(CMakePackageConfigHelpers)

install(TARGETS qel storvant EXPORT QELTargets
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
if(QEL_BUILD_AGENT)
    install(TARGETS raidwatch RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
    install(TARGETS raidwatch_http LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS raidwatch_nats LIBRARY DESTINATION "lib/raidwatch")
endif()
install(FILES ${QEL_CATALOGUES} DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(DIRECTORY storlib/sources/scenarios DESTINATION share/qel FILES_MATCHING PATTERN "*.json")
foreach(header IN LISTS QEL_PUBLIC_HEADERS)
    get_filename_component(folder "${header}" DIRECTORY)
    install(FILES "${header}" DESTINATION "include/qel/${folder}")
    install(FILES "${header}" DESTINATION "include/qel/${folder}"
            COMPONENT package EXCLUDE_FROM_ALL)
endforeach()
install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DOCDIR}")

# qel_install_sdk(<library folder> <export set> [arguments of install()])
# installs the CMake package and qel.pc. They take the prefix from where they lie, so that an
# installed tree may be moved.
function(qel_install_sdk libdir export)
    set(package "${libdir}/cmake/QEL")
    set(made "${PROJECT_BINARY_DIR}/sdk/${export}")
    install(EXPORT ${export} NAMESPACE QEL:: FILE QELTargets.cmake DESTINATION "${package}" ${ARGN})
    configure_package_config_file(cmake/QELConfig.cmake.in "${made}/QELConfig.cmake"
                                  INSTALL_DESTINATION "${package}")
    write_basic_package_version_file("${made}/QELConfigVersion.cmake"
                                     COMPATIBILITY SameMinorVersion)
    install(FILES "${made}/QELConfig.cmake" "${made}/QELConfigVersion.cmake"
            DESTINATION "${package}" ${ARGN})
    file(RELATIVE_PATH QEL_PC_TO_PREFIX "/${libdir}/pkgconfig" "/")
    set(QEL_PC_LIBDIR "${libdir}")
    configure_file(cmake/qel.pc.in "${made}/qel.pc" @ONLY)
    install(FILES "${made}/qel.pc" DESTINATION "${libdir}/pkgconfig" ${ARGN})
endfunction()

qel_install_sdk("${CMAKE_INSTALL_LIBDIR}" QELTargets)

# The package's layout. Both word sizes may be installed on one machine.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(triplet i386-linux-gnu)
else()
    set(triplet x86_64-linux-gnu)
endif()
set(only COMPONENT package EXCLUDE_FROM_ALL)
install(TARGETS qel storvant EXPORT QELPackageTargets
        LIBRARY DESTINATION "lib/${triplet}/qel" NAMELINK_SKIP ${only})
install(FILES ${QEL_CATALOGUES} DESTINATION "lib/${triplet}/qel" ${only})
qel_install_sdk("lib/${triplet}" QELPackageTargets ${only})
install(DIRECTORY storlib/sources/scenarios DESTINATION share/qel ${only}
        FILES_MATCHING PATTERN "*.json")
if(QEL_BUILD_AGENT)
    install(TARGETS raidwatch RUNTIME DESTINATION bin ${only})
    # Where the program finds its libraries.
    install(TARGETS raidwatch_http LIBRARY DESTINATION "lib/${triplet}/qel" ${only})
    install(TARGETS raidwatch_nats LIBRARY DESTINATION "lib/${triplet}/raidwatch" ${only})
endif()
