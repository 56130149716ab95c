/**
 * The four functions of log.dll, one for each level. Each records the name of a source file and an unexpanded
 * format. Both texts are null-terminated and used only during the call.
 */
#pragma once

namespace platform {

void QVSLOGD(const char* file, const char* format);  ///< debug
void QVSLOGI(const char* file, const char* format);  ///< information
void QVSLOGW(const char* file, const char* format);  ///< warning
void QVSLOGE(const char* file, const char* format);  ///< error

}  // namespace platform
