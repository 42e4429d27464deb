// SetupApi's module name, its resolving operation, and the imported IsUserAdmin.
#include "Ostravane.Winapi.SetupApi.h"

// setupapi.dll's export, which the mingw-w64 headers don't declare.
extern "C" __declspec(dllimport) BOOL WINAPI IsUserAdmin(void);

namespace Ostravane {

OV_IMPLEMENT_CLASS(SetupApi, nullptr)

void* SetupApi::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

bool SetupApi::IsUserAdmin() noexcept { return ::IsUserAdmin() != 0; }

}  // namespace Ostravane
