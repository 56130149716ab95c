#include "platform/Log.h"

#include "simulated/port/Call.h"

namespace simulated {
namespace {

void Record(const char* operation, char level, const char* file, const char* format) {
  Machine& machine = CurrentMachine();
  Perform(
      &machine, operation, [&](Arguments& arguments) { arguments.Text(file).Text(format); },
      [&] {
        machine.AddLogRecord({level, file, format});
      });
}

}  // namespace
}  // namespace simulated

namespace platform {

void QVSLOGD(const char* file, const char* format) { simulated::Record("QVSLOGD", 'D', file, format); }
void QVSLOGI(const char* file, const char* format) { simulated::Record("QVSLOGI", 'I', file, format); }
void QVSLOGW(const char* file, const char* format) { simulated::Record("QVSLOGW", 'W', file, format); }
void QVSLOGE(const char* file, const char* format) { simulated::Record("QVSLOGE", 'E', file, format); }

}  // namespace platform
