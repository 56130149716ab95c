# Import libraries for the linkers of other compilers, created from the lists of exports.
if(NOT WIN32)
  return()
endif()
find_program(LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14 PATHS /usr/bin NO_CMAKE_FIND_ROOT_PATH)
if(NOT LLVM_DLLTOOL)
  message(FATAL_ERROR "llvm-dlltool is missing: run scripts/setup")
endif()

function(kestrelbay_import_library target def)
  set(library ${CMAKE_BINARY_DIR}/lib/${target}.lib)
  add_custom_command(OUTPUT ${library} DEPENDS ${def} VERBATIM
    COMMAND ${LLVM_DLLTOOL} -m i386:x86-64 -d ${def} -D ${target}.dll -l ${library})
  add_custom_target(${target}_import_library ALL DEPENDS ${library})
  install(FILES ${library} DESTINATION lib)
  install(FILES ${def} DESTINATION lib RENAME ${target}.def)
endfunction()

kestrelbay_import_library(KestrelbayGeneral ${PROJECT_SOURCE_DIR}/src/exports/KestrelbayGeneralSDK.def)
kestrelbay_import_library(KestrelbayGuard ${PROJECT_SOURCE_DIR}/guard/KestrelbayGuard.def)
kestrelbay_import_library(log ${PROJECT_SOURCE_DIR}/platform/log/log.def)
