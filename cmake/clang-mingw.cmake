# Cross-compiles for 64-bit Windows with clang and lld, and with the headers and runtime of mingw-w64.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-windows-gnu)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-windows-gnu)
# Of the two runtimes of mingw-w64, clang would take the one without std::thread.
execute_process(COMMAND x86_64-w64-mingw32-g++-posix -print-libgcc-file-name
  OUTPUT_VARIABLE libgcc OUTPUT_STRIP_TRAILING_WHITESPACE)
get_filename_component(gcc ${libgcc} DIRECTORY)
# The runtime was compiled by a compiler that emulates thread-local storage.
set(CMAKE_C_FLAGS_INIT "-femulated-tls")
set(CMAKE_CXX_FLAGS_INIT
  "-femulated-tls -nostdinc++ -isystem ${gcc}/include/c++ -isystem ${gcc}/include/c++/x86_64-w64-mingw32")
# Emulated thread-local storage needs the locks of winpthreads.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld -static -L${gcc} -lpthread")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-fuse-ld=lld -static -L${gcc} -lpthread")
