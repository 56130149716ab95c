# One set of warnings for all code of this tree. The presets turn them into errors.
option(KESTRELBAY_WARNINGS_AS_ERRORS "Treat warnings as errors" OFF)

add_library(kestrelbay_warnings INTERFACE)
target_compile_options(kestrelbay_warnings INTERFACE
  $<$<COMPILE_LANGUAGE:C,CXX>:-Wall -Wextra -Wshadow -Wconversion -Wsign-conversion>
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast>
  # g++ 12 reports a wrong overlap inside std::string (its bug 105651).
  $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:GNU>>:-Wno-restrict>
  # Under a sanitizer, g++ 12 reports members of std::regex as uninitialised, although they are initialised.
  $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:GNU>,$<BOOL:${KESTRELBAY_SANITIZED}>>:-Wno-maybe-uninitialized>
  $<$<BOOL:${KESTRELBAY_WARNINGS_AS_ERRORS}>:-Werror>)
