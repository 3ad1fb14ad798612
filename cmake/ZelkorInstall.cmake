# Install rules, the package file for find_package, the one for pkg-config, and the Debian package.
include(CMakePackageConfigHelpers)

set(ZELKOR_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/ZelkorSyncFile")
set(ZELKOR_HEADER_DIR "${CMAKE_INSTALL_INCLUDEDIR}/zelkor-sync-file")

install(TARGETS zelkor_platform zelkor_log zelkor_bilog zelkor_common zelkor_database zelkor_cloud_client
  zelkor_transfer_service EXPORT ZelkorSyncFileTargets LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(EXPORT ZelkorSyncFileTargets NAMESPACE ZelkorSyncFile:: DESTINATION "${ZELKOR_PACKAGE_DIR}")

install(DIRECTORY interfaces DESTINATION "${ZELKOR_HEADER_DIR}" FILES_MATCHING PATTERN "*.h")
install(FILES service/transfer_task_service.h DESTINATION "${ZELKOR_HEADER_DIR}/service")
install(FILES service/shared/concurrent_queue.h service/shared/flags.h service/shared/never_destroyed.h
  service/shared/task_result.h service/shared/transfer_records.h DESTINATION "${ZELKOR_HEADER_DIR}/service/shared")
install(FILES download/download_task_manager.h DESTINATION "${ZELKOR_HEADER_DIR}/download")
install(FILES upload/upload_task_manager.h upload/upload_records.h DESTINATION "${ZELKOR_HEADER_DIR}/upload")
install(FILES keys/sync_user_key_service.h DESTINATION "${ZELKOR_HEADER_DIR}/keys")

configure_package_config_file(cmake/ZelkorSyncFileConfig.cmake.in ZelkorSyncFileConfig.cmake
  INSTALL_DESTINATION "${ZELKOR_PACKAGE_DIR}")
write_basic_package_version_file(ZelkorSyncFileConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/ZelkorSyncFileConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/ZelkorSyncFileConfigVersion.cmake" DESTINATION "${ZELKOR_PACKAGE_DIR}")

configure_file(cmake/zelkor-sync-file.pc.in zelkor-sync-file.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/zelkor-sync-file.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zelkor-sync-file)
set(CPACK_PACKAGE_VENDOR "The ZelkorSyncFile maintainers")
set(CPACK_PACKAGE_CONTACT "The ZelkorSyncFile maintainers <maintainers@zelkor.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "File-transfer engine for desktop cloud drives, its host and its reference cloud")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
