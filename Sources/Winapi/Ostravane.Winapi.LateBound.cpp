// The status check shared by the wrappers of NT status results.
#include "Ostravane.Winapi.LateBound.h"

#include <ntsecapi.h>

namespace Ostravane {

void CheckNtStatus(LONG AStatus) {
  if (AStatus == 0) return;
  using TLsaNtStatusToWinError = ULONG(WINAPI*)(NTSTATUS);
  const ULONG LError =
      TLateBound<L"advapi32.dll", "LsaNtStatusToWinError", TLsaNtStatusToWinError>::Plain(static_cast<NTSTATUS>(AStatus));
  SetLastError(LError);
  SysUtils::RaiseLastOSError(static_cast<int32_t>(LError), UnicodeString());
}

}  // namespace Ostravane
