# What `cmake --install` lays down. The catalogue lies beside the library because that is where the
# engine looks for it; a package that wants it elsewhere puts a symbolic link there.

include(CMakePackageConfigHelpers)

install(TARGETS qel storvant EXPORT QELTargets
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
if(QEL_BUILD_AGENT)
    install(TARGETS raidwatch RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()
install(FILES ${QEL_CATALOGUES} DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(DIRECTORY storlib/sources/scenarios DESTINATION share/qel FILES_MATCHING PATTERN "*.json")
foreach(header IN LISTS QEL_PUBLIC_HEADERS)
    get_filename_component(folder "${header}" DIRECTORY)
    install(FILES "${header}" DESTINATION "include/qel/${folder}")
endforeach()
install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DOCDIR}")

set(package "${CMAKE_INSTALL_LIBDIR}/cmake/QEL")
install(EXPORT QELTargets NAMESPACE QEL:: DESTINATION "${package}")
configure_package_config_file(cmake/QELConfig.cmake.in "${PROJECT_BINARY_DIR}/QELConfig.cmake"
                              INSTALL_DESTINATION "${package}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/QELConfigVersion.cmake"
                                 COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/QELConfig.cmake"
              "${PROJECT_BINARY_DIR}/QELConfigVersion.cmake" DESTINATION "${package}")

# The prefix is taken from where qel.pc lies, so that an installed tree may be moved.
file(RELATIVE_PATH QEL_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/qel.pc.in "${PROJECT_BINARY_DIR}/qel.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/qel.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
