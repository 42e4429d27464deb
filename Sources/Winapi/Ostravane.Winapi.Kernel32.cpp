// Kernel32's module name, its resolving operation and the wrappers written out: the string forms of
// the system's buffer protocols, the version checks and the calls that guard state of their own.
#include "Ostravane.Winapi.Kernel32.h"

#include <cstddef>
#include <vector>

namespace Ostravane {

static_assert(offsetof(TVolumeBitmapBuffer, Buffer) == 16 && offsetof(TAllocatedVolumeBitmapBuffer, Buffer) == 16);
static_assert(offsetof(TRetrievalPointersBuffer, Extents) == 16 &&
              offsetof(TAllocatedRetrievalPointersBuffer, Extents) == 16 && sizeof(TRetrievalPointersExtent) == 16);

OV_IMPLEMENT_CLASS(Kernel32, nullptr)

namespace {

template <TExportName AExport, typename TProc>
using TKernel = TLateBound<Kernel32::C_MODULE, AExport, TProc>;

// The x87 control word, which some drivers leave changed behind a device call.
class TFpuControlWordKeeper {
 public:
  TFpuControlWordKeeper() noexcept { asm volatile("fnstcw %0" : "=m"(FSaved)); }
  ~TFpuControlWordKeeper() { asm volatile("fnclex\n\tfldcw %0" : : "m"(FSaved)); }
  TFpuControlWordKeeper(const TFpuControlWordKeeper&) = delete;
  TFpuControlWordKeeper& operator=(const TFpuControlWordKeeper&) = delete;

 private:
  uint16_t FSaved = 0;
};

}  // namespace

void* Kernel32::Call(const UnicodeString& AProcName) {
  return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName);
}

UnicodeString Kernel32::GetComputerName() {
  constexpr DWORD C_LENGTH = 15;
  std::vector<wchar_t> LBuffer(C_LENGTH, L'\0');
  DWORD LSize = C_LENGTH;
  if (!TKernel<"GetComputerNameW", decltype(&::GetComputerNameW)>::Plain(LBuffer.data(), &LSize)) return {};
  return UnicodeString(LBuffer.data(), std::min<DWORD>(LSize, C_LENGTH));
}

DWORD Kernel32::WaitForMultipleObjects(std::span<const HANDLE> AHandles, BOOL AWaitAll, DWORD ATimeout) {
  const std::vector<HANDLE> LHandles(AHandles.begin(), AHandles.end());
  return TKernel<"WaitForMultipleObjects", decltype(&::WaitForMultipleObjects)>::Plain(
      static_cast<DWORD>(LHandles.size()), LHandles.data(), AWaitAll, ATimeout);
}

UnicodeString Kernel32::ExpandEnvironmentStrings(const UnicodeString& AFileName) {
  using TExpand = TKernel<"ExpandEnvironmentStringsW", decltype(&::ExpandEnvironmentStringsW)>;
  const DWORD LLength = TExpand::Plain(AFileName, nullptr, 0);
  if (LLength == 0) SysUtils::RaiseLastOSError();
  std::vector<wchar_t> LBuffer(LLength + 1, L'\0');
  if (TExpand::Plain(AFileName, LBuffer.data(), LLength) == 0) SysUtils::RaiseLastOSError();
  return UnicodeString(LBuffer.data());
}

UnicodeString Kernel32::GetEnvironmentVariable(const UnicodeString& AName) {
  using TGet = TKernel<"GetEnvironmentVariableW", decltype(&::GetEnvironmentVariableW)>;
  const DWORD LLength = TGet::Plain(AName, nullptr, 0);
  if (LLength == 0) return {};
  std::vector<wchar_t> LBuffer(LLength + 1, L'\0');
  // A variable changed between the two calls answers the size it now needs: then nothing was copied.
  const DWORD LCopied = TGet::Plain(AName, LBuffer.data(), LLength);
  return LCopied < LLength ? UnicodeString(LBuffer.data(), LCopied) : UnicodeString();
}

void Kernel32::SetEnvironmentVariable(const UnicodeString& AName, const UnicodeString& AValue) {
  TKernel<"SetEnvironmentVariableW", decltype(&::SetEnvironmentVariableW)>::Plain(AName, AValue);
}

void Kernel32::AddEnvironmentVariablePath(const UnicodeString& APath) {
  if (APath.empty()) return;
  const UnicodeString LPath = GetEnvironmentVariable(L"PATH");
  if (LPath.find(APath) != UnicodeString::npos) return;
  const UnicodeString LWithout = Rtl::ExcludeTrailingPathDelimiter(APath);
  if (!LWithout.empty() && LPath.find(LWithout) != UnicodeString::npos) return;
  SetEnvironmentVariable(L"PATH", LPath.empty() ? APath : LPath + L";" + APath);
}

UnicodeString Kernel32::GetLongPathName(const UnicodeString& lpszShortPath) {
  using TGet = TKernel<"GetLongPathNameW", decltype(&::GetLongPathNameW)>;
  const DWORD LLength = TGet::Plain(lpszShortPath, nullptr, 0);
  if (LLength == 0) return lpszShortPath;
  std::vector<wchar_t> LBuffer(LLength + 1, L'\0');
  const DWORD LCopied = TGet::Plain(lpszShortPath, LBuffer.data(), LLength);
  if (LCopied == 0 || LCopied >= LLength) return lpszShortPath;
  return UnicodeString(LBuffer.data(), LCopied);
}

UnicodeString Kernel32::GetVolumeNameForVolumeMountPoint(const UnicodeString& AVolumeMountPoint) {
  std::vector<wchar_t> LBuffer(MAX_PATH + 1, L'\0');
  if (!TKernel<"GetVolumeNameForVolumeMountPointW", decltype(&::GetVolumeNameForVolumeMountPointW)>::Plain(
          AVolumeMountPoint, LBuffer.data(), MAX_PATH + 1))
    return {};
  return UnicodeString(LBuffer.data());
}

UnicodeString Kernel32::GetDosDevice(const UnicodeString& AVolume) {
  const UnicodeString LVolume = Rtl::ExcludeTrailingPathDelimiter(AVolume);
  std::vector<wchar_t> LBuffer(MAX_PATH + 1, L'\0');
  SetLastError(0);
  TKernel<"QueryDosDeviceW", decltype(&::QueryDosDeviceW)>::Plain(LVolume, LBuffer.data(), MAX_PATH);
  if (GetLastError() != 0) return {};
  return UnicodeString(LBuffer.data());
}

UnicodeString Kernel32::GetTempFileName(const UnicodeString& APrefix, UINT AUnique) {
  wchar_t LTemp[MAX_PATH + 1] = {};
  const DWORD LLength = ::GetTempPathW(MAX_PATH + 1, LTemp);
  UnicodeString LFolder(LTemp, LLength <= MAX_PATH ? LLength : 0);
  if (!LFolder.empty()) Rtl::ForceDirectories(LFolder);
  if (LFolder.empty() || !Rtl::DirectoryExists(LFolder)) LFolder = L".";
  std::vector<wchar_t> LBuffer(MAX_PATH + 1, L'\0');
  TKernel<"GetTempFileNameW", decltype(&::GetTempFileNameW)>::Plain(LFolder, APrefix, AUnique, LBuffer.data());
  return UnicodeString(LBuffer.data());
}

void Kernel32::VER_SET_CONDITION(ULONGLONG& dwlConditionMask, DWORD dwTypeBitMask, BYTE dwConditionMask) {
  dwlConditionMask = VerSetConditionMask(dwlConditionMask, dwTypeBitMask, dwConditionMask);
}

bool Kernel32::VerifyVersionInfo(OSVERSIONINFOEXW& lpVersionInfo, DWORD dwTypeMask, DWORDLONG dwlConditionMask) {
  if (TKernel<"VerifyVersionInfoW", decltype(&::VerifyVersionInfoW)>::Plain(&lpVersionInfo, dwTypeMask,
                                                                            dwlConditionMask))
    return true;
  const DWORD LError = GetLastError();
  if (LError == ERROR_OLD_WIN_VERSION) return false;
  SysUtils::RaiseLastOSError(static_cast<int32_t>(LError), UnicodeString());
}

void Kernel32::GetProductInfo(DWORD dwOSMajorVersion, DWORD dwOSMinorVersion, DWORD dwSpMajorVersion,
                              DWORD dwSpMinorVersion, DWORD& pdwReturnedProductType) {
  if (!TKernel<"GetProductInfo", decltype(&::GetProductInfo)>::Plain(dwOSMajorVersion, dwOSMinorVersion,
                                                                     dwSpMajorVersion, dwSpMinorVersion,
                                                                     &pdwReturnedProductType))
    pdwReturnedProductType = C_PRODUCT_UNKNOWN_ANSWER;
}

bool Kernel32::CreateProcess(TWideArgOrNil lpApplicationName, const UnicodeString& lpCommandLine,
                             LPSECURITY_ATTRIBUTES lpProcessAttributes, LPSECURITY_ATTRIBUTES lpThreadAttributes,
                             BOOL bInheritHandles, DWORD dwCreationFlags, LPVOID lpEnvironment,
                             TWideArgOrNil lpCurrentDirectory, LPSTARTUPINFOW lpStartupInfo,
                             LPPROCESS_INFORMATION lpProcessInformation) {
  // CreateProcessW may write into the command line while it runs.
  std::vector<wchar_t> LCommandLine(lpCommandLine.begin(), lpCommandLine.end());
  LCommandLine.push_back(L'\0');
  return TKernel<"CreateProcessW", decltype(&::CreateProcessW)>::Resolve()(
             lpApplicationName, lpCommandLine.empty() ? nullptr : LCommandLine.data(), lpProcessAttributes,
             lpThreadAttributes, bInheritHandles, dwCreationFlags, lpEnvironment, lpCurrentDirectory, lpStartupInfo,
             lpProcessInformation) != FALSE;
}

bool Kernel32::DeviceIoControl(HANDLE hDevice, DWORD dwIoControlCode, LPVOID lpInBuffer, DWORD nInBufferSize,
                               LPVOID lpOutBuffer, DWORD nOutBufferSize, LPDWORD lpBytesReturned,
                               LPOVERLAPPED lpOverlapped) {
  const auto LProc = TKernel<"DeviceIoControl", decltype(&::DeviceIoControl)>::Resolve();
  const TFpuControlWordKeeper LKeeper;
  return LProc(hDevice, dwIoControlCode, lpInBuffer, nInBufferSize, lpOutBuffer, nOutBufferSize, lpBytesReturned,
               lpOverlapped) != FALSE;
}

GEOID Kernel32::GetUserGeoID(GEOCLASS AGeoClass) noexcept {
  try {
    return TKernel<"GetUserGeoID", decltype(&::GetUserGeoID)>::Plain(AGeoClass);
  } catch (...) {
    return -1;
  }
}

GEOID Kernel32::GetUserGeoID() noexcept {
  constexpr GEOCLASS C_NATION = 16;
  constexpr LCID C_DEFAULT_LOCALE = 1024;
  constexpr LCTYPE C_GEO_ID_AS_NUMBER = 0x2000005B;  // LOCALE_IGEOID | LOCALE_RETURN_NUMBER
  const GEOID LNation = GetUserGeoID(C_NATION);
  if (LNation != -1) return LNation;
  // A number answer is one DWORD, two characters; the buffer is larger than the size given.
  DWORD LValue[2] = {};
  if (GetLocaleInfoW(C_DEFAULT_LOCALE, C_GEO_ID_AS_NUMBER, reinterpret_cast<LPWSTR>(LValue), 4) < 1) return -1;
  return static_cast<GEOID>(LValue[0]);
}

}  // namespace Ostravane
