# cmake --install: headers, libraries, both programs, the demo, and the package file that find_package(fa_comm) reads.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(fa_libraries fa_options fa_asio fa_spdlog fa_api winapi fa_module hsms_core hsms_link secs_items log_file
    hsms_driver sim_framework sml)
install(TARGETS ${fa_libraries} EXPORT fa_comm_targets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    OBJECTS DESTINATION ${CMAKE_INSTALL_LIBDIR}/fa_comm)
install(TARGETS fa-equipment fa-host fa-fault-run RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY fa hsms sim sml winapi DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/fa_comm
    FILES_MATCHING PATTERN "*.h" PATTERN "*.def")
install(DIRECTORY demo DESTINATION ${CMAKE_INSTALL_DATADIR}/fa_comm PATTERN log EXCLUDE)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/fa_comm)
install(EXPORT fa_comm_targets NAMESPACE fa_comm:: DESTINATION ${package_folder})
write_basic_package_version_file("${PROJECT_BINARY_DIR}/fa_comm-config-version.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/fa_comm-config-version.cmake" cmake/fa_comm-config.cmake
    DESTINATION ${package_folder})
