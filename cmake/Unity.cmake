# Unity builds: several sources in one compilation, because most of the time goes into headers that they share.
# The presets use them. A build for editing leaves them off: there one changed file compiles alone.
option(KESTRELBAY_UNITY "Compile several sources together" OFF)

# kestrelbay_unity(TARGET COUNT [ALONE SOURCE...]): compiles COUNT sources of TARGET at a time. Compiles each source after
# ALONE by itself, because its unnamed namespace has a name that another source has too (in src/: kFile, its log name).
function(kestrelbay_unity target count)
  if(NOT KESTRELBAY_UNITY)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 2 unity "" "" "ALONE")
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${count})
  get_target_property(folder ${target} SOURCE_DIR)
  list(TRANSFORM unity_ALONE PREPEND ${folder}/)
  set_source_files_properties(${unity_ALONE} TARGET_DIRECTORY ${target} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()
