# What `cmake --install` puts where, and the package that find_package(KavrelCrypto) finds.
include(CMakePackageConfigHelpers)

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/KavrelCrypto")

set(libraries KavrelCrypto KavrelCryptoPlatform)
set_target_properties(KavrelCryptoPlatform PROPERTIES EXPORT_NAME Platform)
if(KAVREL_CRYPTO_DESKTOP_DEVICE)
    list(APPEND libraries KavrelCryptoDesktopDevice)
    set_target_properties(KavrelCryptoDesktopDevice PROPERTIES EXPORT_NAME DesktopDevice)
endif()
if(KAVREL_CRYPTO_TOOLS)
    install(TARGETS kavrel)
endif()

install(TARGETS ${libraries} EXPORT KavrelCryptoTargets
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/KavrelCrypto")
install(EXPORT KavrelCryptoTargets NAMESPACE KavrelCrypto:: DESTINATION "${package_folder}")
configure_package_config_file(cmake/KavrelCryptoConfig.cmake.in KavrelCryptoConfig.cmake
    INSTALL_DESTINATION "${package_folder}")
write_basic_package_version_file(KavrelCryptoConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/KavrelCryptoConfig.cmake" "${PROJECT_BINARY_DIR}/KavrelCryptoConfigVersion.cmake"
    DESTINATION "${package_folder}")
