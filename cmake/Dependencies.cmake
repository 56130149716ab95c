# Libraries that the tools, the tests and the simulated machine use. The product uses none of them.
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

# Header-only libraries come from the packages of the build machine. Each one is linked into a separate folder,
# because a cross compiler must not see the other headers in /usr/include.
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
kestrelbay_header_library(kestrelbay_utf8 utf8cpp)

# GoogleTest is built from its packaged sources, so that every preset builds it with its own flags.
if(KESTRELBAY_TESTS)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  # Optimising the framework takes longer than it saves in the tests.
  foreach(library gtest gtest_main gmock)
    target_compile_options(${library} PRIVATE $<$<CXX_COMPILER_ID:GNU,Clang>:-O0;-g1>)
  endforeach()
endif()
