# One set of warnings for everything that is ours; the presets turn them into errors.
option(KESTRELBAY_WARNINGS_AS_ERRORS "Treat warnings as errors" OFF)

add_library(kestrelbay_warnings INTERFACE)
target_compile_options(kestrelbay_warnings INTERFACE
  $<$<COMPILE_LANGUAGE:C,CXX>:-Wall -Wextra -Wshadow -Wconversion -Wsign-conversion>
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast>
  # g++ 12 takes a string's own copying for overlapping copies (its bug 105651).
  $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:GNU>>:-Wno-restrict>
  # With a sanitizer's checks between them, g++ 12 loses sight of what std::regex has initialised.
  $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:GNU>,$<BOOL:${KESTRELBAY_SANITIZED}>>:-Wno-maybe-uninitialized>
  $<$<BOOL:${KESTRELBAY_WARNINGS_AS_ERRORS}>:-Werror>)
