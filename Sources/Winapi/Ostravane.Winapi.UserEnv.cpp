// UserEnv's module name, its resolving operation and the profile folders as strings.
#include "Ostravane.Winapi.UserEnv.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(UserEnv, nullptr)

namespace {

// The protocol of the three folder queries: the size with no buffer, then the folder.
template <TExportName AExport, typename TProc>
UnicodeString QueryProfileFolder() {
  using TQuery = TLateBound<UserEnv::C_MODULE, AExport, TProc>;
  DWORD LSize = 0;
  TQuery::Plain(nullptr, &LSize);
  if (LSize == 0) return {};
  // One character more than asked for: some systems count the folder without its terminator.
  UnicodeString LFolder(++LSize, L'\0');
  if (!TQuery::Plain(LFolder.data(), &LSize)) return {};
  CutAtNul(LFolder);
  return LFolder;
}

}  // namespace

void* UserEnv::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

UnicodeString UserEnv::GetProfilesDirectory() {
  return QueryProfileFolder<"GetProfilesDirectoryW", decltype(&::GetProfilesDirectoryW)>();
}

UnicodeString UserEnv::GetAllUsersProfileDirectory() {
  return QueryProfileFolder<"GetAllUsersProfileDirectoryW", decltype(&::GetAllUsersProfileDirectoryW)>();
}

UnicodeString UserEnv::GetDefaultUserProfileDirectory() {
  return QueryProfileFolder<"GetDefaultUserProfileDirectoryW", decltype(&::GetDefaultUserProfileDirectoryW)>();
}

}  // namespace Ostravane
