# Two builds of one source are identical in any folder: a binary contains no build path and no time. Builds without a
# build type are for development. They keep their paths, so that several build folders can share a compiler cache.
if(CMAKE_BUILD_TYPE)
  add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
endif()
if(WIN32)
  add_link_options(-Wl,--no-insert-timestamp)
endif()
