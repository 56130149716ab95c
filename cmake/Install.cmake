# What `cmake --install` installs: files for projects that link the library, and the program kestrelbay. Each file finds
# the others by paths that are relative to its own, so the installed tree can be moved.
set(package lib/cmake/KestrelbayGeneral)

install(FILES include/KestrelbayGeneral.hpp include/KestrelbayGeneralJobs.hpp include/KestrelbayGeneralSDK.h
  include/KestrelbayGeneralTypes.hpp include/KestrelbayGuard.h DESTINATION include)
install(TARGETS KestrelbayGeneral KestrelbayGuard
  RUNTIME DESTINATION bin
  LIBRARY DESTINATION lib
  ARCHIVE DESTINATION lib)
set(KESTRELBAY_LIBRARY -lKestrelbayGeneral)
set(KESTRELBAY_GUARD_LIBRARY -lKestrelbayGuard)
if(WIN32)
  # By its file name, because -static makes the linker pass over import libraries.
  # KestrelbayGeneral.hpp needs COM.
  set(KESTRELBAY_LIBRARY "-l:libKestrelbayGeneral.dll.a -lole32")
  set(KESTRELBAY_GUARD_LIBRARY -l:libKestrelbayGuard.dll.a)
  install(TARGETS log RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
else()
  install(TARGETS kestrelbay_machine LIBRARY DESTINATION lib)
  # In the build as well: cmake --install pads a path of the build with zeros, so its length would stay in the file.
  set_target_properties(KestrelbayGeneral KestrelbayGuard PROPERTIES
    INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON)
  # The program writes its own completion scripts.
  function(kestrelbay_install_completion shell place)
    install(CODE "
      set(file \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/share/${place})
      get_filename_component(folder \${file} DIRECTORY)
      file(MAKE_DIRECTORY \${folder})
      execute_process(COMMAND $<TARGET_FILE:kestrelbay> completion ${shell} OUTPUT_FILE \${file}
        COMMAND_ERROR_IS_FATAL ANY)")
  endfunction()
  kestrelbay_install_completion(bash bash-completion/completions/kestrelbay)
  kestrelbay_install_completion(zsh zsh/site-functions/_kestrelbay)
  kestrelbay_install_completion(powershell powershell/kestrelbay.ps1)
endif()

include(CMakePackageConfigHelpers)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KestrelbayGeneralConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
foreach(name KestrelbayGeneral KestrelbayGuard)
  configure_file(cmake/${name}.pc.in ${CMAKE_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/${name}.pc DESTINATION lib/pkgconfig)
endforeach()
install(FILES cmake/KestrelbayGeneralConfig.cmake ${CMAKE_BINARY_DIR}/KestrelbayGeneralConfigVersion.cmake
  DESTINATION ${package})
