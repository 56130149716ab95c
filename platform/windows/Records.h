/** Records pass through the port as they are, so each field must lie where Windows has it. */
#pragma once

#include <cstddef>

#define CHECK_RECORD(record, windows) static_assert(sizeof(record) == sizeof(windows), #record);
#define CHECK_FIELD(record, windows, field)                            \
  static_assert(offsetof(record, field) == offsetof(windows, field) && \
                    sizeof(record::field) == sizeof(windows::field),   \
                #record "." #field);
