# The version that Windows shows for each file. The manifest of kestrelbay.exe also names the Windows that it supports.
if(NOT WIN32)
  return()
endif()
enable_language(RC)

# kestrelbay_resources(TARGET FILE DESCRIPTION [MANIFEST])
function(kestrelbay_resources target file description)
  set(FILE_NAME ${file})
  set(FILE_DESCRIPTION ${description})
  set(MANIFEST_LINE "")
  if(ARGC GREATER 3)
    set(MANIFEST_LINE "1 24 \"${ARGV3}\"")  # 24 is RT_MANIFEST
  endif()
  set(FILE_TYPE 2)  # VFT_DLL
  if(file MATCHES "exe$")
    set(FILE_TYPE 1)  # VFT_APP
  endif()
  set(script ${CMAKE_BINARY_DIR}/resources/${target}.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/Version.rc.in ${script} @ONLY)
  target_sources(${target} PRIVATE ${script})
endfunction()

kestrelbay_resources(KestrelbayGeneral KestrelbayGeneral.dll "Machine-side library of an application store")
kestrelbay_resources(KestrelbayGuard KestrelbayGuard.dll "KestrelbayGeneral without exceptions")
kestrelbay_resources(log log.dll "Log file of KestrelbayGeneral")
kestrelbay_resources(sample-setup sample-setup.exe "Sample program to install and uninstall")
kestrelbay_resources(kestrelbay kestrelbay.exe "Command line of KestrelbayGeneral"
  ${PROJECT_SOURCE_DIR}/cmake/kestrelbay.manifest)
