/**
 * The four entry points of log.dll, one a level. Each records a source file name and a format text, which it
 * is given as it stands: no further arguments follow. Both are NUL-terminated and used during the call only.
 */
#pragma once

namespace platform {

void QVSLOGD(const char* file, const char* format);  ///< debug
void QVSLOGI(const char* file, const char* format);  ///< information
void QVSLOGW(const char* file, const char* format);  ///< warning
void QVSLOGE(const char* file, const char* format);  ///< error

}  // namespace platform
