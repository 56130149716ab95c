# find_package(KestrelbayGeneral) gives the target KestrelbayGeneral::KestrelbayGeneral.
if(TARGET KestrelbayGeneral::KestrelbayGeneral)
  return()
endif()
get_filename_component(prefix ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)
add_library(KestrelbayGeneral::KestrelbayGeneral SHARED IMPORTED)
set_target_properties(KestrelbayGeneral::KestrelbayGeneral PROPERTIES
  INTERFACE_INCLUDE_DIRECTORIES ${prefix}/include)
if(WIN32)
  set_target_properties(KestrelbayGeneral::KestrelbayGeneral PROPERTIES
    IMPORTED_LOCATION ${prefix}/bin/KestrelbayGeneral.dll
    IMPORTED_IMPLIB ${prefix}/lib/libKestrelbayGeneral.dll.a)
else()
  set_target_properties(KestrelbayGeneral::KestrelbayGeneral PROPERTIES
    IMPORTED_LOCATION ${prefix}/lib/libKestrelbayGeneral.so
    IMPORTED_LINK_DEPENDENT_LIBRARIES ${prefix}/lib/libkestrelbay_machine.so)
endif()
unset(prefix)
