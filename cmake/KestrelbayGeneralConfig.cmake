# find_package(KestrelbayGeneral) gives the targets KestrelbayGeneral::KestrelbayGeneral and
# KestrelbayGeneral::KestrelbayGuard; on Windows also KestrelbayGeneral::log, so that a host can copy all DLLs that
# it needs by $<TARGET_RUNTIME_DLLS:host>.
if(TARGET KestrelbayGeneral::KestrelbayGeneral)
  return()
endif()
get_filename_component(prefix ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)
foreach(name KestrelbayGeneral KestrelbayGuard)
  add_library(KestrelbayGeneral::${name} SHARED IMPORTED)
  set_target_properties(KestrelbayGeneral::${name} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${prefix}/include)
  if(WIN32)
    set(import ${prefix}/lib/lib${name}.dll.a)
    if(MSVC)
      set(import ${prefix}/lib/${name}.lib)
    endif()
    set_target_properties(KestrelbayGeneral::${name} PROPERTIES
      IMPORTED_LOCATION ${prefix}/bin/${name}.dll
      IMPORTED_IMPLIB ${import})
    unset(import)
  else()
    set_target_properties(KestrelbayGeneral::${name} PROPERTIES IMPORTED_LOCATION ${prefix}/lib/lib${name}.so)
  endif()
endforeach()
unset(name)
target_link_libraries(KestrelbayGeneral::KestrelbayGuard INTERFACE KestrelbayGeneral::KestrelbayGeneral)
if(WIN32)
  # No host calls it: KestrelbayGeneral.dll imports it. Linked for its place alone.
  add_library(KestrelbayGeneral::log SHARED IMPORTED)
  set(import ${prefix}/lib/liblog.dll.a)
  if(MSVC)
    set(import ${prefix}/lib/log.lib)
  endif()
  set_target_properties(KestrelbayGeneral::log PROPERTIES
    IMPORTED_LOCATION ${prefix}/bin/log.dll
    IMPORTED_IMPLIB ${import})
  unset(import)
  target_link_libraries(KestrelbayGeneral::KestrelbayGeneral INTERFACE KestrelbayGeneral::log)
else()
  set_target_properties(KestrelbayGeneral::KestrelbayGeneral PROPERTIES
    IMPORTED_LINK_DEPENDENT_LIBRARIES ${prefix}/lib/libkestrelbay_machine.so)
endif()
unset(prefix)
