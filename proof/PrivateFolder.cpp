#include "PrivateFolder.h"

#include <windows.h>
// windows.h must come first.
#include <aclapi.h>
#include <sddl.h>

#include <array>
#include <cstddef>

namespace proof {
namespace {

using Sid = std::array<BYTE, SECURITY_MAX_SID_SIZE>;

/** The user of this process. */
Sid OwnSid() {
  std::array<std::max_align_t, 16> answer{};
  HANDLE token = nullptr;
  DWORD size = 0;
  Sid sid{};
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
    if (GetTokenInformation(token, TokenUser, answer.data(), sizeof answer, &size))
      CopySid(sid.size(), sid.data(), reinterpret_cast<const TOKEN_USER*>(answer.data())->User.Sid);
    CloseHandle(token);
  }
  return sid;
}

}  // namespace

bool IsOfThisUser(const std::filesystem::path& folder) {
  PSID owner = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  std::wstring name = folder.wstring();
  if (GetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr,
                            nullptr, &descriptor) != ERROR_SUCCESS) {
    return false;
  }
  Sid own = OwnSid();
  const bool isOwn = EqualSid(owner, own.data()) || IsWellKnownSid(owner, WinBuiltinAdministratorsSid) ||
                     IsWellKnownSid(owner, WinLocalSystemSid);
  LocalFree(descriptor);
  return isOwn;
}

bool MakePrivateFolder(const std::filesystem::path& folder) {
  Sid own = OwnSid();
  wchar_t* user = nullptr;
  if (!ConvertSidToStringSidW(own.data(), &user)) return false;
  const std::wstring rights = std::wstring(L"D:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)(A;OICI;FA;;;") + user + L")";
  LocalFree(user);
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, FALSE};
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(rights.c_str(), SDDL_REVISION_1,
                                                            &attributes.lpSecurityDescriptor, nullptr)) {
    return false;
  }
  const bool isMade = CreateDirectoryW(folder.c_str(), &attributes) != 0;
  LocalFree(attributes.lpSecurityDescriptor);
  return isMade;
}

}  // namespace proof
