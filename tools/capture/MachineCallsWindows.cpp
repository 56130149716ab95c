#include <windows.h>
// sddl.h needs the types of windows.h.
#include <sddl.h>

#include <memory>

#include "MachineCalls.h"

namespace capture {
namespace {

std::u16string FromWide(const wchar_t* text) {
  const std::wstring_view view(text);
  return {view.begin(), view.end()};
}

std::wstring ToWindows(std::u16string_view text) { return {text.begin(), text.end()}; }

/** The TOKEN_USER of this process; empty on failure. */
std::vector<std::byte> TokenUserOfProcess() {
  HANDLE token = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return {};
  DWORD bytes = 0;
  GetTokenInformation(token, TokenUser, nullptr, 0, &bytes);
  std::vector<std::byte> user(bytes);
  if (!GetTokenInformation(token, TokenUser, user.data(), bytes, &bytes)) user.clear();
  CloseHandle(token);
  return user;
}

PSID SidOf(const std::vector<std::byte>& tokenUser) {
  return reinterpret_cast<const TOKEN_USER*>(tokenUser.data())->User.Sid;
}

}  // namespace

std::vector<std::pair<std::u16string, std::u16string>> EnvironmentVariables() {
  std::vector<std::pair<std::u16string, std::u16string>> variables;
  wchar_t* const block = GetEnvironmentStringsW();
  for (const wchar_t* entry = block; entry && *entry; entry += std::wstring_view(entry).size() + 1) {
    const std::u16string text = FromWide(entry);
    // The drives' current directories are kept among the variables, under names that begin with =.
    const std::size_t separator = text.find(u'=', 1);
    if (separator != text.npos) variables.emplace_back(text.substr(0, separator), text.substr(separator + 1));
  }
  FreeEnvironmentStringsW(block);
  return variables;
}

std::u16string UserSid() {
  const std::vector<std::byte> user = TokenUserOfProcess();
  wchar_t* text = nullptr;
  if (user.empty() || !ConvertSidToStringSidW(SidOf(user), &text)) return {};
  const std::u16string sid = FromWide(text);
  LocalFree(text);
  return sid;
}

std::u16string UserAccount() {
  const std::vector<std::byte> user = TokenUserOfProcess();
  constexpr DWORD kNameRoomChars = 257;  // UNLEN and the null character
  std::wstring name(kNameRoomChars, 0);
  std::wstring domain(kNameRoomChars, 0);
  DWORD nameChars = kNameRoomChars;
  DWORD domainChars = kNameRoomChars;
  SID_NAME_USE use{};
  if (user.empty() ||
      !LookupAccountSidW(nullptr, SidOf(user), name.data(), &nameChars, domain.data(), &domainChars, &use))
    return {};
  const std::u16string bareName = FromWide(name.c_str());
  return domainChars == 0 ? bareName : FromWide(domain.c_str()) + u'\\' + bareName;
}

std::optional<std::uint32_t> Session() {
  DWORD session = 0;
  return ProcessIdToSessionId(GetCurrentProcessId(), &session) ? std::optional<std::uint32_t>(session)
                                                               : std::nullopt;
}

platform::LSTATUS EnumerateValue(platform::HKEY key, platform::DWORD index, CapturedValue& value) {
  // Windows allows names of 16383 characters. Values are mostly short, and a longer one is read again.
  constexpr DWORD kNameRoomChars = 16384;
  constexpr std::size_t kUsualValueBytes = 512;
  std::wstring name(kNameRoomChars, 0);
  value.bytes.resize(kUsualValueBytes);
  while (true) {
    DWORD nameChars = kNameRoomChars;
    auto bytes = static_cast<DWORD>(value.bytes.size());
    DWORD type = 0;
    const LSTATUS status =
        RegEnumValueW(key, index, name.data(), &nameChars, nullptr, &type, value.bytes.data(), &bytes);
    const bool isLonger = status == ERROR_MORE_DATA && bytes > value.bytes.size();
    if (isLonger || status == ERROR_SUCCESS) value.bytes.resize(bytes);
    if (isLonger) continue;
    value.name.assign(name.data(), name.data() + (status == ERROR_SUCCESS ? nameChars : 0));
    value.type = type;
    return status;
  }
}

std::optional<std::filesystem::path> FindMachineFile(std::u16string_view path) {
  std::filesystem::path place(ToWindows(path));
  std::error_code error;
  if (!std::filesystem::is_regular_file(place, error)) return std::nullopt;
  return place;
}

std::string ToAnsi(std::u16string_view text) {
  const std::wstring wide = ToWindows(text);
  std::string narrow(wide.size() * 4, '\0');
  BOOL isReplaced = FALSE;  // WideCharToMultiByte refuses this out-parameter for UTF-8
  const int bytes = WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()), narrow.data(),
                                        static_cast<int>(narrow.size()), nullptr,
                                        GetACP() == CP_UTF8 ? nullptr : &isReplaced);
  narrow.resize(isReplaced ? 0 : static_cast<std::size_t>(bytes));
  return narrow;
}

std::u16string FromAnsi(std::string_view text) {
  std::wstring wide(text.size(), 0);
  wide.resize(static_cast<std::size_t>(MultiByteToWideChar(
      CP_ACP, 0, text.data(), static_cast<int>(text.size()), wide.data(), static_cast<int>(wide.size()))));
  return {wide.begin(), wide.end()};
}

}  // namespace capture
