# Two builds of one source are identical, wherever they are: no build path and no time in a binary. Builds without
# a type are for development: they share one compiler cache and keep their paths.
if(CMAKE_BUILD_TYPE)
  add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
endif()
if(WIN32)
  add_link_options(-Wl,--no-insert-timestamp)
endif()
