// Kernel32: the kernel's functions that not every system version has, bound late through DllRoutines.
#pragma once
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
// those of CreateProcess, CreateJobObject and OpenJobObject go as nil when empty.
class OVRTL_API Kernel32 final {
  OV_STATIC_CLASS
 public:
  Kernel32() = delete;
  static constexpr TModuleName C_MODULE{L"kernel32.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Boolean, GetComputerName, "GetComputerNameW", ::GetComputerNameW)
  OV_LATE_BOUND(Plain, WaitForMultipleObjects, "WaitForMultipleObjects", ::WaitForMultipleObjects)
  OV_LATE_BOUND(Plain, ExpandEnvironmentStrings, "ExpandEnvironmentStringsW", ::ExpandEnvironmentStringsW)
  OV_LATE_BOUND(Plain, GetEnvironmentVariable, "GetEnvironmentVariableW", ::GetEnvironmentVariableW)
  OV_LATE_BOUND(Boolean, SetEnvironmentVariable, "SetEnvironmentVariableW", ::SetEnvironmentVariableW)
  OV_LATE_BOUND(Plain, GetLongPathName, "GetLongPathNameW", ::GetLongPathNameW)
  OV_LATE_BOUND(Plain, SetThreadExecutionState, "SetThreadExecutionState", ::SetThreadExecutionState)
  OV_LATE_BOUND(Plain, GetLocaleInfoEx, "GetLocaleInfoEx", ::GetLocaleInfoEx)
  OV_LATE_BOUND(RaiseOnFailure, GetProcessIoCounters, "GetProcessIoCounters", ::GetProcessIoCounters)
  OV_LATE_BOUND(Boolean, GetVolumeNameForVolumeMountPoint, "GetVolumeNameForVolumeMountPointW", ::GetVolumeNameForVolumeMountPointW)
  OV_LATE_BOUND(Plain, GetDosDevice, "QueryDosDeviceW", ::QueryDosDeviceW)
  OV_LATE_BOUND(Plain, GetTempFileName, "GetTempFileNameW", ::GetTempFileNameW)
  OV_LATE_BOUND(RaiseOnFailure, GetFileSizeEx, "GetFileSizeEx", ::GetFileSizeEx)
  OV_LATE_BOUND(Boolean, SetFilePointerEx, "SetFilePointerEx", ::SetFilePointerEx)
  OV_LATE_BOUND(Plain, VerSetConditionMask, "VerSetConditionMask", ::VerSetConditionMask)
  // ADwlConditionMask becomes VerSetConditionMask's result for it.
  static void VER_SET_CONDITION(ULONGLONG& dwlConditionMask, DWORD dwTypeBitMask, BYTE dwConditionMask);
  OV_LATE_BOUND(Plain, GetNativeSystemInfo, "GetNativeSystemInfo", ::GetNativeSystemInfo)
  OV_LATE_BOUND(Boolean, IsProcessorFeaturePresent, "IsProcessorFeaturePresent", ::IsProcessorFeaturePresent)
  OV_LATE_BOUND(Boolean, GetVolumePathName, "GetVolumePathNameW", ::GetVolumePathNameW)
  OV_LATE_BOUND(Plain, OpenThread, "OpenThread", ::OpenThread)
  OV_LATE_BOUND(Plain, GetProcessIdOfThread, "GetProcessIdOfThread", ::GetProcessIdOfThread)
  OV_LATE_BOUND(Boolean, AttachConsole, "AttachConsole", ::AttachConsole)
  OV_LATE_BOUND_NIL(Boolean, CreateProcess, "CreateProcessW", ::CreateProcessW)
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
  // The system's geographical location of the user; -1 on any failure, including a missing function.
  static GEOID GetUserGeoID(GEOCLASS AGeoClass) noexcept;
};

}  // namespace Ostravane
