# What `cmake --install` puts where, and the package that find_package(KavrelCrypto) finds.
include(CMakePackageConfigHelpers)

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/KavrelCrypto")
set(header_folder "${CMAKE_INSTALL_INCLUDEDIR}/KavrelCrypto")

set_target_properties(KavrelCryptoPlatform PROPERTIES EXPORT_NAME Platform)
set_target_properties(KavrelCryptoDesktopDevice PROPERTIES EXPORT_NAME DesktopDevice)

install(TARGETS KavrelCrypto KavrelCryptoPlatform KavrelCryptoDesktopDevice EXPORT KavrelCryptoTargets)
install(TARGETS kavrel)

foreach(folder csr keys plugin storage text)
    install(DIRECTORY ${folder} DESTINATION "${header_folder}" FILES_MATCHING PATTERN "*.hpp")
endforeach()
file(GLOB platform_headers platform/*.hpp)
install(FILES ${platform_headers} DESTINATION "${header_folder}/platform")
install(FILES platform/desktop/Device.hpp platform/desktop/MainQueue.hpp platform/desktop/Sensor.hpp
    DESTINATION "${header_folder}/platform/desktop")

install(EXPORT KavrelCryptoTargets NAMESPACE KavrelCrypto:: DESTINATION "${package_folder}")
configure_package_config_file(cmake/KavrelCryptoConfig.cmake.in KavrelCryptoConfig.cmake
    INSTALL_DESTINATION "${package_folder}")
write_basic_package_version_file(KavrelCryptoConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/KavrelCryptoConfig.cmake" "${PROJECT_BINARY_DIR}/KavrelCryptoConfigVersion.cmake"
    DESTINATION "${package_folder}")
