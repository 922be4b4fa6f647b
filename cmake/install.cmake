include(CMakePackageConfigHelpers)

set(trimora_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Trimora)
set(trimora_targets trimora_contract trimora)
if(TRIMORA_BUILD_TOOLKIT)
  list(APPEND trimora_targets toolkit)
  install(TARGETS trimora_app RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

install(TARGETS ${trimora_targets} EXPORT TrimoraTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT TrimoraTargets NAMESPACE Trimora:: DESTINATION ${trimora_package_dir})

configure_package_config_file(cmake/TrimoraConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/TrimoraConfig.cmake INSTALL_DESTINATION ${trimora_package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/TrimoraConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/TrimoraConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/TrimoraConfigVersion.cmake
  DESTINATION ${trimora_package_dir})
