# find_package(KestrelbayGeneral) gives the targets KestrelbayGeneral::KestrelbayGeneral and
# KestrelbayGeneral::KestrelbayGuard; on Windows also KestrelbayGeneral::log, so that a host can copy all DLLs that
# it needs by $<TARGET_RUNTIME_DLLS:host>.
if(TARGET KestrelbayGeneral::KestrelbayGeneral)
  return()
endif()

# A function, because this file runs in the scope of the host: its variables would replace those of the host.
function(_kestrelbay_import name)
  get_filename_component(prefix ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)
  add_library(KestrelbayGeneral::${name} SHARED IMPORTED)
  set_target_properties(KestrelbayGeneral::${name} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${prefix}/include)
  if(WIN32)
    set(import lib${name}.dll.a)
    if(MSVC)
      set(import ${name}.lib)
    endif()
    set_target_properties(KestrelbayGeneral::${name} PROPERTIES
      IMPORTED_LOCATION ${prefix}/bin/${name}.dll
      IMPORTED_IMPLIB ${prefix}/lib/${import})
  else()
    set_target_properties(KestrelbayGeneral::${name} PROPERTIES
      IMPORTED_LOCATION ${prefix}/lib/lib${name}.so
      IMPORTED_LINK_DEPENDENT_LIBRARIES ${prefix}/lib/libkestrelbay_machine.so)
  endif()
endfunction()

_kestrelbay_import(KestrelbayGeneral)
_kestrelbay_import(KestrelbayGuard)
target_link_libraries(KestrelbayGeneral::KestrelbayGuard INTERFACE KestrelbayGeneral::KestrelbayGeneral)
if(WIN32)
  # No host calls it: KestrelbayGeneral.dll imports it. Linked for its place alone.
  _kestrelbay_import(log)
  target_link_libraries(KestrelbayGeneral::KestrelbayGeneral INTERFACE KestrelbayGeneral::log)
endif()
