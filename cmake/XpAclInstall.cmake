# Install rules: the shared library, its public headers, the simulator, a CMake package
# (find_package(XpAcl) gives XpAcl::xpacl) and a pkg-config file (xpacl.pc).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(XPACL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/XpAcl)

install(TARGETS xpacl EXPORT XpAclTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT Runtime
    NAMELINK_COMPONENT Development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/XpAcl
    COMPONENT Development)
if(TARGET xpacl-sim)
  install(TARGETS xpacl-sim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime)
endif()

install(EXPORT XpAclTargets
  NAMESPACE XpAcl::
  DESTINATION ${XPACL_CMAKE_DIR}
  COMPONENT Development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/XpAclConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/XpAclConfig.cmake
  INSTALL_DESTINATION ${XPACL_CMAKE_DIR})
# A consumer asking for 1.x accepts any later 1.y: the major version is the SONAME's.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/XpAclConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/XpAclConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/XpAclConfigVersion.cmake
  DESTINATION ${XPACL_CMAKE_DIR}
  COMPONENT Development)

# The pkg-config file is written at install time, so that it names the prefix actually
# installed into (`cmake --install --prefix DIR` included).
set(XPACL_PC_OUT ${CMAKE_CURRENT_BINARY_DIR}/xpacl.pc)
install(CODE "
  set(XPACL_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  set(XPACL_PC_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(XPACL_PC_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  set(XPACL_PC_DESCRIPTION \"${PROJECT_DESCRIPTION}\")
  set(XPACL_PC_VERSION \"${PROJECT_VERSION}\")
  configure_file(\"${CMAKE_CURRENT_LIST_DIR}/xpacl.pc.in\" \"${XPACL_PC_OUT}\" @ONLY)
  " COMPONENT Development)
install(FILES ${XPACL_PC_OUT}
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT Development)
