#include "frame/HostText.h"

#include <cstdlib>
#include <cstring>

#include "platform/RuntimeText.h"

namespace kestrelbay {

std::string TextOf(const char* text) { return {text, std::strlen(text)}; }

bool CopyToHost(const std::string& text, char* buffer, std::int32_t* size) {
  const auto capacity = static_cast<std::size_t>(static_cast<std::int64_t>(*size));
  if (capacity < text.size()) return false;
  platform::strcpy_s(buffer, capacity, text.c_str());
  *size = static_cast<std::int32_t>(text.size());
  return true;
}

char* NewHostText(const std::string& text) {
  const std::size_t bytes = text.size() + 1;
  char* const copy = static_cast<char*>(std::malloc(bytes));
  platform::strcpy_s(copy, bytes, text.c_str());
  return copy;
}

}  // namespace kestrelbay
