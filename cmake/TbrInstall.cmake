# find_package(tbrNavigation) after `cmake --install` gives tbr::Base, tbr::Numerics, tbr::Core and tbr::Navigation.
include(CMakePackageConfigHelpers)
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/tbrNavigation")
install(EXPORT tbrNavigationTargets NAMESPACE tbr:: DESTINATION ${package_dir})
configure_package_config_file(cmake/tbrNavigationConfig.cmake.in tbrNavigationConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(tbrNavigationConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/tbrNavigationConfig.cmake" "${CMAKE_CURRENT_BINARY_DIR}/tbrNavigationConfigVersion.cmake"
        DESTINATION ${package_dir})
