// UserEnv: the user profile functions, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <userenv.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "userenv.dll" or the function is
// missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API UserEnv final {
  OV_STATIC_CLASS
 public:
  UserEnv() = delete;
  static constexpr TModuleName C_MODULE{L"userenv.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Boolean, LoadUserProfile, "LoadUserProfileW", ::LoadUserProfileW)
  OV_LATE_BOUND(Boolean, UnloadUserProfile, "UnloadUserProfile", ::UnloadUserProfile)
  // The profile folders; empty on any failure of the system (but a missing function, which
  // raises as every wrapper).
  static UnicodeString GetProfilesDirectory();
  static UnicodeString GetAllUsersProfileDirectory();
  static UnicodeString GetDefaultUserProfileDirectory();
};

}  // namespace Ostravane
