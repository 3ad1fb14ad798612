# Install rules, the package file for find_package and the one for pkg-config.
include(CMakePackageConfigHelpers)
