// Kernel32: the kernel's functions that not every system version has, bound late through DllRoutines.
#pragma once
#include <span>

#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

// winnt.h's macro of the same name would rewrite the member below.
#ifdef VER_SET_CONDITION
#undef VER_SET_CONDITION
#endif

namespace Ostravane {

// Every wrapper raises EOSError (the load error, or 1) when its function is missing, before the
// function runs. Plain: the system's result; Boolean: a non-zero result as true; RaiseOnFailure: a
// zero result raises EOSError with GetLastError. String parameters also take a UnicodeString;
// those of CreateProcess, CreateJobObject and OpenJobObject go as nil when empty. The operations
// written out turn the system's buffer protocols into strings; what they answer on failure is told
// with each.
class OVRTL_API Kernel32 final {
  OV_STATIC_CLASS
 public:
  Kernel32() = delete;
  static constexpr TModuleName C_MODULE{L"kernel32.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  // The computer's name from a buffer of 15 characters; empty on failure and for a name that
  // doesn't fit.
  static UnicodeString GetComputerName();
  // The system's wait on a contiguous copy of AHandles.
  static DWORD WaitForMultipleObjects(std::span<const HANDLE> AHandles, BOOL AWaitAll, DWORD ATimeout);
  // AFileName with its %variables% expanded; EOSError with GetLastError when the system fails.
  static UnicodeString ExpandEnvironmentStrings(const UnicodeString& AFileName);
  // The variable's value; empty when it isn't set.
  static UnicodeString GetEnvironmentVariable(const UnicodeString& AName);
  // Sets the variable for this process; the system's result is not looked at.
  static void SetEnvironmentVariable(const UnicodeString& AName, const UnicodeString& AValue);
  // Appends APath to this process's "PATH" (after a ";" unless "PATH" is empty) unless "PATH" holds
  // it already, with or without its trailing delimiter; the search heeds case. An empty APath adds
  // nothing.
  static void AddEnvironmentVariablePath(const UnicodeString& APath);
  // The long form of a path; the path itself, without an error, when the system can't give one (a
  // path that doesn't exist).
  static UnicodeString GetLongPathName(const UnicodeString& lpszShortPath);
  OV_LATE_BOUND(Plain, SetThreadExecutionState, "SetThreadExecutionState", ::SetThreadExecutionState)
  OV_LATE_BOUND(Plain, GetLocaleInfoEx, "GetLocaleInfoEx", ::GetLocaleInfoEx)
  OV_LATE_BOUND(RaiseOnFailure, GetProcessIoCounters, "GetProcessIoCounters", ::GetProcessIoCounters)
  // The volume name ("\\?\Volume{...}\") of a mount point such as "C:\"; empty on failure.
  static UnicodeString GetVolumeNameForVolumeMountPoint(const UnicodeString& AVolumeMountPoint);
  // The device behind a DOS drive ("C:" or "C:\"), the first string of QueryDosDeviceW's answer;
  // empty when the system reports an error.
  static UnicodeString GetDosDevice(const UnicodeString& AVolume);
  // A temporary file name in the system's temporary folder (made when missing; "." when it can't
  // be), the system's result not looked at: a failure gives the empty string.
  static UnicodeString GetTempFileName(const UnicodeString& APrefix, UINT AUnique);
  OV_LATE_BOUND(RaiseOnFailure, GetFileSizeEx, "GetFileSizeEx", ::GetFileSizeEx)
  OV_LATE_BOUND(Boolean, SetFilePointerEx, "SetFilePointerEx", ::SetFilePointerEx)
  OV_LATE_BOUND(Plain, VerSetConditionMask, "VerSetConditionMask", ::VerSetConditionMask)
  // ADwlConditionMask becomes VerSetConditionMask's result for it.
  static void VER_SET_CONDITION(ULONGLONG& dwlConditionMask, DWORD dwTypeBitMask, BYTE dwConditionMask);
  // True when the system matches; false when it doesn't (ERROR_OLD_WIN_VERSION); any other failure
  // raises EOSError with its code.
  static bool VerifyVersionInfo(OSVERSIONINFOEXW& lpVersionInfo, DWORD dwTypeMask, DWORDLONG dwlConditionMask);
  // The product type of the given system version; C_PRODUCT_UNKNOWN_ANSWER when the system function
  // answers false. EOSError (1) on a system without it.
  static void GetProductInfo(DWORD dwOSMajorVersion, DWORD dwOSMinorVersion, DWORD dwSpMajorVersion,
                             DWORD dwSpMinorVersion, DWORD& pdwReturnedProductType);
  enum : DWORD { C_PRODUCT_UNKNOWN_ANSWER = 0xABCDABCD };
  OV_LATE_BOUND(Plain, GetNativeSystemInfo, "GetNativeSystemInfo", ::GetNativeSystemInfo)
  OV_LATE_BOUND(Boolean, IsProcessorFeaturePresent, "IsProcessorFeaturePresent", ::IsProcessorFeaturePresent)
  OV_LATE_BOUND(Boolean, GetVolumePathName, "GetVolumePathNameW", ::GetVolumePathNameW)
  OV_LATE_BOUND(Plain, OpenThread, "OpenThread", ::OpenThread)
  OV_LATE_BOUND(Plain, GetProcessIdOfThread, "GetProcessIdOfThread", ::GetProcessIdOfThread)
  OV_LATE_BOUND(Boolean, AttachConsole, "AttachConsole", ::AttachConsole)
  // CreateProcessW with a writable copy of lpCommandLine; the names, the command line and the
  // current directory go as nil when empty.
  static bool CreateProcess(TWideArgOrNil lpApplicationName, const UnicodeString& lpCommandLine,
                            LPSECURITY_ATTRIBUTES lpProcessAttributes, LPSECURITY_ATTRIBUTES lpThreadAttributes,
                            BOOL bInheritHandles, DWORD dwCreationFlags, LPVOID lpEnvironment,
                            TWideArgOrNil lpCurrentDirectory, LPSTARTUPINFOW lpStartupInfo,
                            LPPROCESS_INFORMATION lpProcessInformation);
  OV_LATE_BOUND(RaiseOnFailure, IsWow64Process, "IsWow64Process", ::IsWow64Process)
  OV_LATE_BOUND(Boolean, Wow64EnableWow64FsRedirection, "Wow64EnableWow64FsRedirection", ::Wow64EnableWow64FsRedirection)
  OV_LATE_BOUND(Boolean, Wow64DisableWow64FsRedirection, "Wow64DisableWow64FsRedirection", ::Wow64DisableWow64FsRedirection)
  OV_LATE_BOUND(Boolean, Wow64RevertWow64FsRedirection, "Wow64RevertWow64FsRedirection", ::Wow64RevertWow64FsRedirection)
  OV_LATE_BOUND(Plain, FindFirstVolume, "FindFirstVolumeW", ::FindFirstVolumeW)
  OV_LATE_BOUND(Boolean, FindNextVolume, "FindNextVolumeW", ::FindNextVolumeW)
  OV_LATE_BOUND(Boolean, FindVolumeClose, "FindVolumeClose", ::FindVolumeClose)
  OV_LATE_BOUND(Boolean, GetVolumePathNamesForVolumeName, "GetVolumePathNamesForVolumeNameW", ::GetVolumePathNamesForVolumeNameW)
  OV_LATE_BOUND_T(Plain, GetApplicationUserModelId, "GetApplicationUserModelId", TGetApplicationUserModelId)
  OV_LATE_BOUND_T(Plain, GetPackageFullName, "GetPackageFullName", TGetPackageFullName)
  OV_LATE_BOUND_T(Plain, GetPackageFamilyName, "GetPackageFamilyName", TGetPackageFamilyName)
  OV_LATE_BOUND_T(Plain, GetPackageId, "GetPackageId", TGetPackageId)
  OV_LATE_BOUND_T(Plain, GetPackagePath, "GetPackagePath", TGetPackagePath)
  OV_LATE_BOUND_T(Plain, GetPackagePathByFullName, "GetPackagePathByFullName", TGetPackagePathByFullName)
  OV_LATE_BOUND_T(Plain, GetPackagesByPackageFamily, "GetPackagesByPackageFamily", TGetPackagesByPackageFamily)
  OV_LATE_BOUND_T(Plain, PackageNameAndPublisherIdFromFamilyName, "PackageNameAndPublisherIdFromFamilyName", TPackageNameAndPublisherIdFromFamilyName)
  OV_LATE_BOUND_T(Plain, ParseApplicationUserModelId, "ParseApplicationUserModelId", TParseApplicationUserModelId)
  OV_LATE_BOUND_NIL(RaiseOnFailure, CreateJobObject, "CreateJobObjectW", ::CreateJobObjectW)
  OV_LATE_BOUND_NIL(Plain, OpenJobObject, "OpenJobObjectW", ::OpenJobObjectW)
  OV_LATE_BOUND(RaiseOnFailure, QueryInformationJobObject, "QueryInformationJobObject", ::QueryInformationJobObject)
  OV_LATE_BOUND(RaiseOnFailure, SetInformationJobObject, "SetInformationJobObject", ::SetInformationJobObject)
  OV_LATE_BOUND(RaiseOnFailure, AssignProcessToJobObject, "AssignProcessToJobObject", ::AssignProcessToJobObject)
  OV_LATE_BOUND(RaiseOnFailure, IsProcessInJob, "IsProcessInJob", ::IsProcessInJob)
  // The system's answer, the floating-point control word kept as it was before the call (drivers
  // and filters have been seen to change it).
  static bool DeviceIoControl(HANDLE hDevice, DWORD dwIoControlCode, LPVOID lpInBuffer, DWORD nInBufferSize,
                              LPVOID lpOutBuffer, DWORD nOutBufferSize, LPDWORD lpBytesReturned,
                              LPOVERLAPPED lpOverlapped);
  // The system's geographical location of the user; -1 on any failure, including a missing function.
  static GEOID GetUserGeoID(GEOCLASS AGeoClass) noexcept;
  // The user's nation; without one, the default locale's; -1 when neither is known.
  static GEOID GetUserGeoID() noexcept;
};

// The file systems a product knows by default, in this order.
inline constexpr const wchar_t* DEFAULT_KNOWN_FS[5] = {L"FAT", L"FAT32", L"exFAT", L"NTFS", L"ReFS"};

// The answer of FSCTL_GET_VOLUME_BITMAP: a 16-byte header, then the bitmap.
struct TVolumeBitmapBuffer {
  LARGE_INTEGER StartingLcn;
  LARGE_INTEGER BitmapSize;
  BYTE Buffer[1];
  // The byte at AIndex of the bitmap behind the header (the record may be longer than declared).
  BYTE GetBufferElement(int32_t AIndex) const noexcept { return reinterpret_cast<const BYTE*>(this)[16 + AIndex]; }
};

struct TAllocatedVolumeBitmapBuffer {
  static constexpr int32_t C_BUFFER_SIZE = 32768;
  LARGE_INTEGER StartingLcn;
  LARGE_INTEGER BitmapSize;
  BYTE Buffer[C_BUFFER_SIZE];
  BYTE GetBufferElement(int32_t AIndex) const noexcept { return Buffer[AIndex]; }
  static constexpr int32_t GetBufferSize() noexcept { return C_BUFFER_SIZE; }
};

// The answer of FSCTL_GET_RETRIEVAL_POINTERS: a 16-byte header, then extents of 16 bytes.
struct TRetrievalPointersExtent {
  LARGE_INTEGER NextVcn;
  LARGE_INTEGER Lcn;
};

struct TRetrievalPointersBuffer {
  DWORD ExtentCount;
  LARGE_INTEGER StartingVcn;
  TRetrievalPointersExtent Extents[1];
  // The extent at AIndex (the record may be longer than declared).
  TRetrievalPointersExtent* GetExtent(int32_t AIndex) noexcept {
    return reinterpret_cast<TRetrievalPointersExtent*>(reinterpret_cast<BYTE*>(this) + 16 + 16 * AIndex);
  }
};

// Room for C_EXTENT_CAPACITY extents, as much as the allocated bitmap holds.
struct TAllocatedRetrievalPointersBuffer {
  static constexpr int32_t C_EXTENT_CAPACITY = 2048;
  DWORD ExtentCount;
  LARGE_INTEGER StartingVcn;
  TRetrievalPointersExtent Extents[C_EXTENT_CAPACITY];
  TRetrievalPointersExtent* GetExtent(int32_t AIndex) noexcept { return &Extents[AIndex]; }
};

}  // namespace Ostravane
