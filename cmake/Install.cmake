# What `cmake --install` lays out: for who links the library, and for who runs kestrelbay. Everything finds its
# parts by where it stands itself, so the tree can be moved as a whole.
set(package lib/cmake/KestrelbayGeneral)

install(FILES include/KestrelbayGeneralSDK.h DESTINATION include)
install(TARGETS KestrelbayGeneral
  RUNTIME DESTINATION bin
  LIBRARY DESTINATION lib
  ARCHIVE DESTINATION lib)
if(WIN32)
  # Other compilers make an import library of their own from the list of exports.
  install(FILES src/exports/KestrelbayGeneralSDK.def DESTINATION lib RENAME KestrelbayGeneral.def)
  install(TARGETS log RUNTIME DESTINATION bin)
else()
  install(TARGETS kestrelbay_machine LIBRARY DESTINATION lib)
  set_target_properties(KestrelbayGeneral PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()

include(CMakePackageConfigHelpers)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KestrelbayGeneralConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
configure_file(cmake/KestrelbayGeneral.pc.in ${CMAKE_BINARY_DIR}/KestrelbayGeneral.pc @ONLY)
install(FILES cmake/KestrelbayGeneralConfig.cmake ${CMAKE_BINARY_DIR}/KestrelbayGeneralConfigVersion.cmake
  DESTINATION ${package})
install(FILES ${CMAKE_BINARY_DIR}/KestrelbayGeneral.pc DESTINATION lib/pkgconfig)
