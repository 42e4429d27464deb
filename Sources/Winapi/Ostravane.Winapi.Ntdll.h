// Ntdll: the native system services, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

namespace Ostravane {

class OVRTL_API Ntdll final {
  OV_STATIC_CLASS
 public:
  Ntdll() = delete;
  static constexpr TModuleName C_MODULE{L"ntdll.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Plain, NtQuerySystemInformation, "NtQuerySystemInformation", ::NtQuerySystemInformation)
  OV_LATE_BOUND_T(Plain, NtQueryVolumeInformationFile, "NtQueryVolumeInformationFile", TNtQueryVolumeInformationFile)
  OV_LATE_BOUND(Plain, NtQueryInformationProcess, "NtQueryInformationProcess", ::NtQueryInformationProcess)
  OV_LATE_BOUND(Plain, NtClose, "NtClose", ::NtClose)
  OV_LATE_BOUND_T(Plain, NtFsControlFile, "NtFsControlFile", TNtFsControlFile)
  OV_LATE_BOUND(Plain, NtOpenFile, "NtOpenFile", ::NtOpenFile)
  OV_LATE_BOUND_T(Plain, NtSetInformationFile, "NtSetInformationFile", TNtSetInformationFile)
  OV_LATE_BOUND_T(Plain, NtWow64QueryInformationProcess64, "NtWow64QueryInformationProcess64", TNtWow64QueryInformationProcess64)
  OV_LATE_BOUND_T(Plain, NtWow64ReadVirtualMemory64, "NtWow64ReadVirtualMemory64", TNtWow64ReadVirtualMemory64)
  OV_LATE_BOUND_T(Plain, NtQueryKey, "NtQueryKey", TNtQueryKey)
  OV_LATE_BOUND(Plain, ZwQuerySystemInformation, "ZwQuerySystemInformation", ::NtQuerySystemInformation)
  OV_LATE_BOUND_T(Plain, ZwQueryInformationFile, "ZwQueryInformationFile", TZwQueryInformationFile)
  OV_LATE_BOUND_T(Plain, ZwQueryObject, "ZwQueryObject", TZwQueryObject)
  OV_LATE_BOUND_T(Plain, RtlDecompressBuffer, "RtlDecompressBuffer", TRtlDecompressBuffer)
  OV_LATE_BOUND_T(Plain, RtlDecompressBufferEx, "RtlDecompressBufferEx", TRtlDecompressBufferEx)
  OV_LATE_BOUND_T(Plain, RtlGetCompressionWorkSpaceSize, "RtlGetCompressionWorkSpaceSize", TRtlGetCompressionWorkSpaceSize)
};

}  // namespace Ostravane
