# What the tools, the tests and the simulated machine stand on. The library itself needs none of it.
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

# Header-only libraries come from the build machine's own packages. A cross compiler must not see the
# rest of that include folder, so each one is linked into a folder of its own.
function(kestrelbay_header_library target folder)
  set(alone ${CMAKE_BINARY_DIR}/headers)
  if(NOT EXISTS /usr/include/${folder})
    message(FATAL_ERROR "/usr/include/${folder} is missing: run scripts/setup")
  endif()
  file(MAKE_DIRECTORY ${alone})
  file(CREATE_LINK /usr/include/${folder} ${alone}/${folder} SYMBOLIC)
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE ${alone})
endfunction()
kestrelbay_header_library(kestrelbay_json nlohmann)
kestrelbay_header_library(kestrelbay_cli11 CLI)

# GoogleTest is built from its packaged sources, so that every preset builds it with its own flags.
if(KESTRELBAY_TESTS)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endif()
