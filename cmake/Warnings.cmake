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

# src/ is compiled with all warnings of clang, except these:
option(KESTRELBAY_ALL_WARNINGS "Compile src/ with all warnings of clang" OFF)
set(unwanted
  -Wno-c++98-compat -Wno-c++98-compat-pedantic  # the code is C++20
  -Wno-padded                                   # records have the layout that the interface prescribes
  -Wno-reserved-identifier                      # the port's types have the names that Windows gives them
  -Wno-documentation                            # comments describe two parameters in one line
  -Wno-documentation-unknown-command            # paths of Windows in comments look like commands
  -Wno-global-constructors                      # seven objects are made when the library is loaded, by design
  -Wno-exit-time-destructors                    # and destroyed when it is unloaded
  -Wno-weak-vtables                             # classes with a virtual destructor alone are in their headers
)
if(KESTRELBAY_ALL_WARNINGS)
  set(all_warnings -Weverything ${unwanted})
endif()
add_library(kestrelbay_all_warnings INTERFACE)
target_compile_options(kestrelbay_all_warnings INTERFACE ${all_warnings})
