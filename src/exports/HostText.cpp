#include "exports/HostText.h"

#include <cstdlib>
#include <cstring>

#include "platform/RuntimeText.h"

namespace kestrelbay {

std::string TextOf(const char* text) { return {text, std::strlen(text)}; }

bool CopyToHost(const std::string& text, char* buffer, std::int32_t* size) {
  // A negative size becomes huge, see the header.
  const auto capacity = static_cast<std::size_t>(static_cast<std::int64_t>(*size));
  if (capacity < text.size()) return false;
  // By design a size equal to the length passes the check. strcpy_s then calls the invalid-parameter handler.
  platform::strcpy_s(buffer, capacity, text.c_str());
  *size = static_cast<std::int32_t>(text.size());
  return true;
}

void HandOut(const std::string& text, char** output) {
  const std::size_t bytes = text.size() + 1;
  *output = static_cast<char*>(std::malloc(bytes));  // malloc, because ReleaseDllStr calls free
  platform::strcpy_s(*output, bytes, text.c_str());
}

char* NewHostText(const std::string& text) {
  char* copy = nullptr;
  HandOut(text, &copy);
  return copy;
}

}  // namespace kestrelbay
