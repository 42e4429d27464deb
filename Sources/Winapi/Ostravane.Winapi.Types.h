// The system's records, constants and function types that the mingw-w64 headers lack, declared
// once at the system's layout for the module classes.
#pragma once
#include <winternl.h>

#include "Ostravane.Rtl.System.h"

struct _ITEMIDLIST;  // the shell's item id list (shtypes.h)

namespace Ostravane {

// Information classes of the NT file and key queries, as far as the library asks for them.
enum TFsInformationClass : ULONG { FileFsVolumeInformation = 1, FileFsSizeInformation = 3, FileFsDeviceInformation = 4 };
enum TKeyInformationClass : ULONG { KeyBasicInformation = 0, KeyNameInformation = 3 };

using TNtQueryVolumeInformationFile = NTSTATUS(WINAPI*)(HANDLE, PIO_STATUS_BLOCK, PVOID, ULONG, ULONG);
using TNtFsControlFile = NTSTATUS(WINAPI*)(HANDLE, HANDLE, PVOID, PVOID, PIO_STATUS_BLOCK, ULONG, PVOID, ULONG, PVOID, ULONG);
using TNtSetInformationFile = NTSTATUS(WINAPI*)(HANDLE, PIO_STATUS_BLOCK, PVOID, ULONG, ULONG);
using TNtWow64QueryInformationProcess64 = NTSTATUS(WINAPI*)(HANDLE, ULONG, PVOID, ULONG, PULONG);
using TNtWow64ReadVirtualMemory64 = NTSTATUS(WINAPI*)(HANDLE, ULONGLONG, PVOID, ULONGLONG, PULONGLONG);
using TNtQueryKey = NTSTATUS(WINAPI*)(HANDLE, ULONG, PVOID, ULONG, PULONG);
using TZwQueryInformationFile = NTSTATUS(WINAPI*)(HANDLE, PIO_STATUS_BLOCK, PVOID, ULONG, ULONG);
using TZwQueryObject = NTSTATUS(WINAPI*)(HANDLE, ULONG, PVOID, ULONG, PULONG);
using TRtlDecompressBuffer = NTSTATUS(WINAPI*)(USHORT, PUCHAR, ULONG, PUCHAR, ULONG, PULONG);
using TRtlDecompressBufferEx = NTSTATUS(WINAPI*)(USHORT, PUCHAR, ULONG, PUCHAR, ULONG, PULONG, PVOID);
using TRtlGetCompressionWorkSpaceSize = NTSTATUS(WINAPI*)(USHORT, PULONG, PULONG);

// Package identity (appmodel.h, which the mingw-w64 headers lack), at the system's layout.
#pragma pack(push, 4)
struct PACKAGE_VERSION {
  union {
    UINT64 Version;
    struct {
      USHORT Revision;
      USHORT Build;
      USHORT Minor;
      USHORT Major;
    };
  };
};
struct PACKAGE_ID {
  UINT32 reserved;
  UINT32 processorArchitecture;
  PACKAGE_VERSION version;
  PWSTR name;
  PWSTR publisher;
  PWSTR resourceId;
  PWSTR publisherId;
};
#pragma pack(pop)

using TGetApplicationUserModelId = LONG(WINAPI*)(HANDLE, UINT32*, PWSTR);
using TGetPackageFullName = LONG(WINAPI*)(HANDLE, UINT32*, PWSTR);
using TGetPackageFamilyName = LONG(WINAPI*)(HANDLE, UINT32*, PWSTR);
using TGetPackageId = LONG(WINAPI*)(HANDLE, UINT32*, BYTE*);
using TGetPackagePath = LONG(WINAPI*)(const PACKAGE_ID*, const UINT32, UINT32*, PWSTR);
using TGetPackagePathByFullName = LONG(WINAPI*)(PCWSTR, UINT32*, PWSTR);
using TGetPackagesByPackageFamily = LONG(WINAPI*)(PCWSTR, UINT32*, PWSTR*, UINT32*, WCHAR*);
using TPackageNameAndPublisherIdFromFamilyName = LONG(WINAPI*)(PCWSTR, UINT32*, PWSTR, UINT32*, PWSTR);
using TParseApplicationUserModelId = LONG(WINAPI*)(PCWSTR, UINT32*, PWSTR, UINT32*, PWSTR);

// Shell functions exported by ordinal only, and those the headers don't declare.
using TSHRunDialog = int(WINAPI*)(HWND, HICON, LPCWSTR, LPCWSTR, LPCWSTR, DWORD);          // 61 (RunFileDlg)
using TSHChangeIcon = int(WINAPI*)(HWND, PWSTR, UINT, int*);                               // 62 (PickIconDlg)
using TSHFindFiles = BOOL(WINAPI*)(const ::_ITEMIDLIST*, const ::_ITEMIDLIST*);  // 90
using TSHFindComputer = BOOL(WINAPI*)(const ::_ITEMIDLIST*, const ::_ITEMIDLIST*);  // 91
using TSHNetConnectionDialog = DWORD(WINAPI*)(HWND, LPCWSTR, DWORD);                       // 160
using TSHObjectProperties = BOOL(WINAPI*)(HWND, DWORD, LPCWSTR, LPCWSTR);                  // 178
using TSHStartNetConnectionDialog = HRESULT(WINAPI*)(HWND, LPCWSTR, DWORD);                // 215
using TOpenAsRunDLL = void(WINAPI*)(HWND, HINSTANCE, LPCWSTR, int);                         // "OpenAs_RunDLLW"
using TRestartDialogEx = int(WINAPI*)(HWND, LPCWSTR, DWORD, DWORD);                        // 730

// shlwapi's IsOS, exported by ordinal 437.
using TIsOS = BOOL(WINAPI*)(DWORD);

}  // namespace Ostravane

// Records and function types of the signing, restore point and performance data modules that the
// mingw-w64 headers lack (mssign32.dll, srclient.dll, pdh.dll).
#include <wincrypt.h>

namespace Ostravane {

// mssign32.dll. The signing records are declared by name only; SIGNER_CONTEXT, which the library
// frees, at the system's layout.
struct _SIGNER_SUBJECT_INFO;
struct _SIGNER_CERT;
struct _SIGNER_SIGNATURE_INFO;
struct _SIGNER_PROVIDER_INFO;
typedef struct _SIGNER_SUBJECT_INFO SIGNER_SUBJECT_INFO;
typedef struct _SIGNER_CERT SIGNER_CERT;
typedef struct _SIGNER_SIGNATURE_INFO SIGNER_SIGNATURE_INFO;
typedef struct _SIGNER_PROVIDER_INFO SIGNER_PROVIDER_INFO;
typedef struct _SIGNER_CONTEXT {
  DWORD cbSize;
  DWORD cbBlob;
  BYTE* pbBlob;
} SIGNER_CONTEXT, *PSIGNER_CONTEXT;

using TSignerSign = HRESULT(WINAPI*)(SIGNER_SUBJECT_INFO*, SIGNER_CERT*, SIGNER_SIGNATURE_INFO*, SIGNER_PROVIDER_INFO*,
                                     LPCWSTR, PCRYPT_ATTRIBUTES, LPVOID);
using TSignerSignEx = HRESULT(WINAPI*)(DWORD, SIGNER_SUBJECT_INFO*, SIGNER_CERT*, SIGNER_SIGNATURE_INFO*,
                                       SIGNER_PROVIDER_INFO*, LPCWSTR, PCRYPT_ATTRIBUTES, LPVOID, SIGNER_CONTEXT**);
using TSignerSignEx2 = HRESULT(WINAPI*)(DWORD, SIGNER_SUBJECT_INFO*, SIGNER_CERT*, SIGNER_SIGNATURE_INFO*,
                                        SIGNER_PROVIDER_INFO*, DWORD, PCSTR, LPCWSTR, PCRYPT_ATTRIBUTES, PVOID,
                                        SIGNER_CONTEXT**, PCERT_STRONG_SIGN_PARA, PVOID);
using TSignerTimeStamp = HRESULT(WINAPI*)(SIGNER_SUBJECT_INFO*, LPCWSTR, PCRYPT_ATTRIBUTES, LPVOID);
using TSignerTimeStampEx = HRESULT(WINAPI*)(DWORD, SIGNER_SUBJECT_INFO*, LPCWSTR, PCRYPT_ATTRIBUTES, LPVOID,
                                            SIGNER_CONTEXT**);
using TSignerTimeStampEx2 = HRESULT(WINAPI*)(DWORD, SIGNER_SUBJECT_INFO*, LPCWSTR, ALG_ID, PCRYPT_ATTRIBUTES, LPVOID,
                                             SIGNER_CONTEXT**);
using TSignerTimeStampEx3 = HRESULT(WINAPI*)(DWORD, DWORD, SIGNER_SUBJECT_INFO*, LPCWSTR, LPCWSTR, PCRYPT_ATTRIBUTES,
                                             PVOID, SIGNER_CONTEXT**, PCERT_STRONG_SIGN_PARA, PVOID);
using TSignerFreeSignerContext = HRESULT(WINAPI*)(SIGNER_CONTEXT*);

// srclient.dll: turning System Restore off and on for a drive ("C:\"), a system error code.
using TDisableSR = DWORD(WINAPI*)(LPCWSTR);
using TEnableSR = DWORD(WINAPI*)(LPCWSTR);

// pdh.dll: a counter's value as a double (Visual Basic helper), with its status.
using TPdhVbGetDoubleCounterValue = double(WINAPI*)(HANDLE, LPDWORD);

}  // namespace Ostravane
