#include "platform/Log.h"

#include "log/log.h"

namespace platform {

void QVSLOGD(const char* file, const char* format) { ::QVSLOGD(file, format); }
void QVSLOGI(const char* file, const char* format) { ::QVSLOGI(file, format); }
void QVSLOGW(const char* file, const char* format) { ::QVSLOGW(file, format); }
void QVSLOGE(const char* file, const char* format) { ::QVSLOGE(file, format); }

}  // namespace platform
