// The system's buffer protocols turned into strings, the version checks with their special results,
// the device call that keeps the floating-point control word, and item id lists walked on real
// shell folders, compared with the shell's own list functions.
#include <gtest/gtest.h>

#include <shlobj.h>

#include <cstring>
#include <string>
#include <vector>

#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.Rtl.SysUtils.h"
#include "Ostravane.Winapi.AdvApi32.h"
#include "Ostravane.Winapi.Kernel32.h"
#include "Ostravane.Winapi.Shell32.h"
#include "Ostravane.Winapi.User32.h"
#include "TestSupport.h"
#include "WinapiTestSupport.h"

using namespace Ostravane;
using namespace OvWinapiTest;
using Microsoft::WRL::ComPtr;

namespace {

uint16_t FpuControlWord() {
  uint16_t LWord = 0;
  asm volatile("fnstcw %0" : "=m"(LWord));
  return LWord;
}

void SetFpuControlWord(uint16_t AWord) { asm volatile("fldcw %0" : : "m"(AWord)); }

// A driver call that leaves the control word changed, as some filters do.
BOOL WINAPI FakeDeviceIoControl(HANDLE, DWORD, LPVOID, DWORD, LPVOID, DWORD, LPDWORD ABytes, LPOVERLAPPED) {
  SetFpuControlWord(0x007F);  // single precision, every exception unmasked
  if (ABytes) *ABytes = 42;
  return TRUE;
}

BOOL WINAPI FakeGetProductInfoFails(DWORD, DWORD, DWORD, DWORD, PDWORD AType) {
  *AType = 7;
  return FALSE;
}

// What CreateProcessW was given ("nil" for a nil string); it writes into the command line, as it may.
std::wstring GCreateProcessSeen;
BOOL WINAPI FakeCreateProcess(LPCWSTR AApplication, LPWSTR ACommandLine, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES,
                              BOOL, DWORD, LPVOID, LPCWSTR ADirectory, LPSTARTUPINFOW, LPPROCESS_INFORMATION) {
  const auto LText = [](const wchar_t* S) { return S ? std::wstring(S) : std::wstring(L"nil"); };
  GCreateProcessSeen = LText(AApplication) + L"|" + LText(ACommandLine) + L"|" + LText(ADirectory);
  if (ACommandLine && *ACommandLine) *ACommandLine = L'#';
  return TRUE;
}

GEOID WINAPI FakeGetUserGeoIDUnknown(GEOCLASS) { return -1; }

NTSTATUS GPrivateDataStatus = 0;
NTSTATUS WINAPI FakeLsaRetrievePrivateData(LSA_HANDLE, PLSA_UNICODE_STRING, PLSA_UNICODE_STRING* AData) {
  *AData = nullptr;
  return GPrivateDataStatus;
}

// An item id list owned by the test, given back with CoTaskMemFree.
struct TPidl {
  LPITEMIDLIST List = nullptr;
  explicit TPidl(LPITEMIDLIST AList = nullptr) : List(AList) {}
  ~TPidl() { CoTaskMemFree(List); }
  TPidl(const TPidl&) = delete;
  TPidl& operator=(const TPidl&) = delete;
};

std::vector<BYTE> Bytes(LPCITEMIDLIST AList, size_t ASize) {
  const BYTE* LFirst = reinterpret_cast<const BYTE*>(AList);
  return std::vector<BYTE>(LFirst, LFirst + ASize);
}

class ComApartment {
 public:
  ComApartment() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
  ~ComApartment() { CoUninitialize(); }
};

}  // namespace

TEST(PlatformKernel32, BufferProtocolsGiveStringsAndDegradeToEmptyOrTheInput) {
  wchar_t LName[64]{};
  DWORD LSize = 64;
  ASSERT_TRUE(GetComputerNameW(LName, &LSize));
  // The buffer holds 15 characters with the terminator: a longer name gives the empty string.
  EXPECT_EQ(Kernel32::GetComputerName(), LSize < 15 ? std::wstring(LName) : std::wstring());

  EXPECT_EQ(Kernel32::GetEnvironmentVariable(L"OVRTL_NO_SUCH_VARIABLE"), L"");
  Kernel32::SetEnvironmentVariable(L"OVRTL_HELPER_TEST", L"\u6d4b\u8bd5 \u00e9t\u00e9");
  EXPECT_EQ(Kernel32::GetEnvironmentVariable(L"OVRTL_HELPER_TEST"), L"\u6d4b\u8bd5 \u00e9t\u00e9");
  EXPECT_EQ(Kernel32::ExpandEnvironmentStrings(L"<%OVRTL_HELPER_TEST%|%OVRTL_NO_SUCH_VARIABLE%>"),
            L"<\u6d4b\u8bd5 \u00e9t\u00e9|%OVRTL_NO_SUCH_VARIABLE%>");
  EXPECT_EQ(Kernel32::ExpandEnvironmentStrings(L""), L"");
  Kernel32::SetEnvironmentVariable(L"OVRTL_HELPER_TEST", L"");
  EXPECT_EQ(Kernel32::GetEnvironmentVariable(L"OVRTL_HELPER_TEST"), L"");

  OvTest::TTempDir LDir;
  const std::wstring LLong = LDir.Path() + L"\u6d4b\u8bd5\u6587\u4ef6 long name.txt";
  OvTest::WriteFileBytes(LLong, {1});
  wchar_t LShort[MAX_PATH]{};
  ASSERT_GT(GetShortPathNameW(LLong.c_str(), LShort, MAX_PATH), 0u);
  EXPECT_EQ(Rtl::AnsiUpperCase(Kernel32::GetLongPathName(LShort)), Rtl::AnsiUpperCase(LLong));
  const std::wstring LMissing = LDir.Path() + L"MISSIN~1.TXT";
  EXPECT_EQ(Kernel32::GetLongPathName(LMissing), LMissing) << "unchanged, with no error";

  // Wine's mount manager gives the system drive a volume name and a device.
  EXPECT_TRUE(Kernel32::GetVolumeNameForVolumeMountPoint(L"C:\\").starts_with(L"\\\\?\\Volume{"));
  EXPECT_EQ(Kernel32::GetVolumeNameForVolumeMountPoint(L"Q:\\OvNoSuchMount\\"), L"");
  wchar_t LDevice[MAX_PATH]{};
  ASSERT_GT(QueryDosDeviceW(L"C:", LDevice, MAX_PATH), 0u);
  EXPECT_EQ(Kernel32::GetDosDevice(L"C:\\"), LDevice);
  EXPECT_EQ(Kernel32::GetDosDevice(L"C:"), LDevice);
  EXPECT_EQ(Kernel32::GetDosDevice(L"OvNoSuchDevice:"), L"");

  wchar_t LTemp[MAX_PATH]{};
  GetTempPathW(MAX_PATH, LTemp);
  const std::wstring LCreated = Kernel32::GetTempFileName(L"ovt", 0);
  EXPECT_TRUE(LCreated.starts_with(LTemp)) << LCreated;
  EXPECT_TRUE(Rtl::ExtractFileName(LCreated).starts_with(L"ovt"));
  EXPECT_TRUE(Rtl::FileExists(LCreated)) << "a unique number of 0 creates the file";
  DeleteFileW(LCreated.c_str());
  // Windows writes the number in upper-case hexadecimal, Wine in lower case.
  EXPECT_EQ(Rtl::AnsiUpperCase(Kernel32::GetTempFileName(L"ovt", 0xBEEF)),
            Rtl::AnsiUpperCase(std::wstring(LTemp) + L"ovtBEEF.tmp"));
  EXPECT_FALSE(Rtl::FileExists(std::wstring(LTemp) + L"ovtBEEF.tmp")) << "a given number creates nothing";
}

TEST(PlatformKernel32, VersionChecksAndTheirSpecialResults) {
  OSVERSIONINFOEXW LInfo{};
  LInfo.dwOSVersionInfoSize = sizeof(LInfo);
  ULONGLONG LMask = 0;
  Kernel32::VER_SET_CONDITION(LMask, VER_MAJORVERSION, VER_GREATER_EQUAL);
  LInfo.dwMajorVersion = 5;
  EXPECT_TRUE(Kernel32::VerifyVersionInfo(LInfo, VER_MAJORVERSION, LMask));
  LInfo.dwMajorVersion = 99;
  EXPECT_FALSE(Kernel32::VerifyVersionInfo(LInfo, VER_MAJORVERSION, LMask)) << "ERROR_OLD_WIN_VERSION is an answer";
  const int64_t LBadArguments = OSErrorCode([&] { Kernel32::VerifyVersionInfo(LInfo, 0, LMask); });
  EXPECT_GT(LBadArguments, 0) << "any other failure raises with its code";
  EXPECT_NE(LBadArguments, ERROR_OLD_WIN_VERSION);

  DWORD LType = 0;
  Kernel32::GetProductInfo(10, 0, 0, 0, LType);
  DWORD LExpected = 0;
  ASSERT_TRUE(::GetProductInfo(10, 0, 0, 0, &LExpected));
  EXPECT_EQ(LType, LExpected);
  EXPECT_NE(LType, Kernel32::C_PRODUCT_UNKNOWN_ANSWER);

  TSeam LSeam;
  TSeam::Fake("GetProductInfo", &FakeGetProductInfoFails);
  Kernel32::GetProductInfo(10, 0, 0, 0, LType);
  EXPECT_EQ(LType, 0xABCDABCDu);
  GSeam.Missing = {"GetProductInfo"};
  LType = 5;
  EXPECT_EQ(OSErrorCode([&] { Kernel32::GetProductInfo(10, 0, 0, 0, LType); }), 1);
  EXPECT_EQ(LType, 5u) << "a missing function never runs";
}

TEST(PlatformKernel32, GeoIdWaitsDeviceCallsProcessesAndRecords) {
  const GEOID LNation = ::GetUserGeoID(GEOCLASS_NATION);
  EXPECT_EQ(Kernel32::GetUserGeoID(), LNation);
  {
    TSeam LSeam;
    TSeam::Fake("GetUserGeoID", &FakeGetUserGeoIDUnknown);
    DWORD LLocaleGeo = 0;
    ASSERT_GT(GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_IGEOID | LOCALE_RETURN_NUMBER,
                             reinterpret_cast<LPWSTR>(&LLocaleGeo), 2),
              0);
    EXPECT_EQ(Kernel32::GetUserGeoID(), static_cast<GEOID>(LLocaleGeo)) << "the locale's when the user has none";
    GSeam.Missing = {"GetUserGeoID"};
    EXPECT_EQ(Kernel32::GetUserGeoID(GEOCLASS_NATION), -1);
  }

  Rtl::THandleOwner LFirst(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  Rtl::THandleOwner LSecond(CreateEventW(nullptr, TRUE, TRUE, nullptr));
  const std::vector<HANDLE> LHandles{LFirst.get(), LSecond.get()};
  EXPECT_EQ(Kernel32::WaitForMultipleObjects(LHandles, FALSE, 0), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(Kernel32::WaitForMultipleObjects(LHandles, TRUE, 0), static_cast<DWORD>(WAIT_TIMEOUT));

  const uint16_t LBefore = FpuControlWord();
  DWORD LBytes = 0;
  SetLastError(0);
  EXPECT_FALSE(Kernel32::DeviceIoControl(INVALID_HANDLE_VALUE, 0x90073, nullptr, 0, nullptr, 0, &LBytes, nullptr));
  EXPECT_NE(GetLastError(), 0u) << "the system's failure, handed on";
  {
    TSeam LSeam;
    TSeam::Fake("DeviceIoControl", &FakeDeviceIoControl);
    EXPECT_TRUE(Kernel32::DeviceIoControl(nullptr, 0, nullptr, 0, nullptr, 0, &LBytes, nullptr));
    EXPECT_EQ(LBytes, 42u);
    EXPECT_EQ(FpuControlWord(), LBefore) << "the driver's change is undone";
  }

  // A command line the wrapper copies (CreateProcessW may write into it); empty names go as nil.
  OvTest::TTempDir LDir;
  const std::wstring LOut = LDir.Path() + L"args \u6d4b.txt";
  const std::wstring LProgram = OvTest::BinDir() + L"ChildArgs.exe";
  STARTUPINFOW LStartup{};
  LStartup.cb = sizeof(LStartup);
  PROCESS_INFORMATION LProcess{};
  const UnicodeString LCommand = L"\"" + LProgram + L"\" \"" + LOut + L"\" \u00e9l\u00e8ve";
  const UnicodeString LCopy = LCommand;
  ASSERT_TRUE(Kernel32::CreateProcess(L"", LCommand, nullptr, nullptr, FALSE, 0, nullptr, L"", &LStartup, &LProcess));
  WaitForSingleObject(LProcess.hProcess, 30000);
  CloseHandle(LProcess.hThread);
  CloseHandle(LProcess.hProcess);
  EXPECT_EQ(LCommand, LCopy);
  const auto LLines = OvTest::SplitLines(OvTest::ReadUtf16File(LOut));
  ASSERT_GE(LLines.size(), 3u);
  EXPECT_EQ(LLines[0], L"2");
  EXPECT_EQ(LLines[2], L"\u00e9l\u00e8ve");
  {
    // (Wine's CreateProcessW itself faults on a nil command line with a nil program: seen through a fake.)
    TSeam LSeam;
    TSeam::Fake("CreateProcessW", &FakeCreateProcess);
    EXPECT_TRUE(Kernel32::CreateProcess(L"", L"", nullptr, nullptr, FALSE, 0, nullptr, L"", &LStartup, &LProcess));
    EXPECT_EQ(GCreateProcessSeen, L"nil|nil|nil");
    EXPECT_TRUE(Kernel32::CreateProcess(L"a.exe", LCommand, nullptr, nullptr, FALSE, 0, nullptr, L"C:\\", &LStartup,
                                        &LProcess));
    EXPECT_EQ(GCreateProcessSeen, L"a.exe|" + LCommand + L"|C:\\");
    EXPECT_EQ(LCommand, LCopy) << "the system wrote into a copy";
  }

  // The records: 16-byte headers, the bitmap and the extents behind them.
  std::vector<BYTE> LBlock(64);
  for (size_t I = 0; I < LBlock.size(); ++I) LBlock[I] = static_cast<BYTE>(I);
  EXPECT_EQ(reinterpret_cast<TVolumeBitmapBuffer*>(LBlock.data())->GetBufferElement(5), 21);
  auto* LPointers = reinterpret_cast<TRetrievalPointersBuffer*>(LBlock.data());
  EXPECT_EQ(reinterpret_cast<BYTE*>(LPointers->GetExtent(2)), LBlock.data() + 48);
  EXPECT_EQ(TAllocatedVolumeBitmapBuffer::GetBufferSize(), 32768);
  auto LAllocated = std::make_unique<TAllocatedRetrievalPointersBuffer>();
  EXPECT_EQ(reinterpret_cast<BYTE*>(LAllocated->GetExtent(3)) - reinterpret_cast<BYTE*>(LAllocated.get()), 64);
  EXPECT_EQ(std::wstring(DEFAULT_KNOWN_FS[0]) + DEFAULT_KNOWN_FS[1] + DEFAULT_KNOWN_FS[2] + DEFAULT_KNOWN_FS[3] +
                DEFAULT_KNOWN_FS[4],
            L"FATFAT32exFATNTFSReFS");
}

TEST(PlatformAdvApi32, AccountsTokensProvidersAndPrivateData) {
  alignas(8) BYTE LSid[SECURITY_MAX_SID_SIZE]{};
  DWORD LSize = sizeof(LSid);
  ASSERT_TRUE(CreateWellKnownSid(WinLocalSystemSid, nullptr, LSid, &LSize));
  UnicodeString LName = L"stale", LDomain = L"stale";
  EXPECT_TRUE(AdvApi32::LookupAccountSid(L"", LSid, LName, LDomain, 0));
  EXPECT_EQ(LName, L"SYSTEM");
  EXPECT_EQ(LDomain, L"NT AUTHORITY");
  alignas(8) BYTE LUnknown[SECURITY_MAX_SID_SIZE]{};
  SID_IDENTIFIER_AUTHORITY LAuthority = SECURITY_NT_AUTHORITY;
  ASSERT_TRUE(InitializeSid(LUnknown, &LAuthority, 2));
  *GetSidSubAuthority(LUnknown, 0) = 21;
  *GetSidSubAuthority(LUnknown, 1) = 987654;
  EXPECT_FALSE(AdvApi32::LookupAccountSid(L"", LUnknown, LName, LDomain, 0));

  HANDLE LToken = nullptr;
  ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &LToken));
  void* LInfo = nullptr;
  DWORD LInfoSize = 0;
  AdvApi32::GetTokenInformation(LToken, TokenUser, LInfo, LInfoSize);
  ASSERT_NE(LInfo, nullptr);
  EXPECT_GE(LInfoSize, sizeof(TOKEN_USER));
  EXPECT_TRUE(AdvApi32::ConvertSidToStringSid(static_cast<TOKEN_USER*>(LInfo)->User.Sid).starts_with(L"S-1-5-"));
  LocalFree(LInfo);
  CloseHandle(LToken);
  LInfo = reinterpret_cast<void*>(1);
  EXPECT_EQ(OSErrorCode([&] { AdvApi32::GetTokenInformation(nullptr, TokenUser, LInfo, LInfoSize); }),
            ERROR_INVALID_HANDLE);
  EXPECT_EQ(LInfo, nullptr);

  UnicodeString LProvider = L"stale";
  EXPECT_TRUE(AdvApi32::CryptGetDefaultProvider(PROV_RSA_FULL, nullptr, CRYPT_MACHINE_DEFAULT, LProvider));
  // Wine's default full RSA provider is the enhanced one (Windows: the strong one).
  EXPECT_EQ(LProvider, L"Microsoft Enhanced Cryptographic Provider v1.0");
  EXPECT_FALSE(AdvApi32::CryptGetDefaultProvider(999, nullptr, CRYPT_MACHINE_DEFAULT, LProvider));
  EXPECT_EQ(LProvider, L"");

  TSeam LSeam;
  TSeam::Fake("LsaRetrievePrivateData", &FakeLsaRetrievePrivateData);
  LSA_UNICODE_STRING LKey{};
  PLSA_UNICODE_STRING LData = reinterpret_cast<PLSA_UNICODE_STRING>(1);
  GPrivateDataStatus = 0;
  EXPECT_TRUE(AdvApi32::LsaRetrievePrivateData(nullptr, &LKey, LData));
  GPrivateDataStatus = static_cast<NTSTATUS>(0xC0000034);
  EXPECT_FALSE(AdvApi32::LsaRetrievePrivateData(nullptr, &LKey, LData)) << "a missing key is an answer";
  GPrivateDataStatus = static_cast<NTSTATUS>(0xC0000022);
  EXPECT_EQ(OSErrorCode([&] { AdvApi32::LsaRetrievePrivateData(nullptr, &LKey, LData); }), ERROR_ACCESS_DENIED);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

TEST(PlatformShell32, SpecialFoldersStrRetsAndTheShellState) {
  const std::wstring LWindows = Shell32::SHGetSpecialFolderPath(CSIDL_WINDOWS, false);
  ASSERT_TRUE(LWindows.ends_with(L"\\")) << LWindows;
  EXPECT_TRUE(Rtl::DirectoryExists(LWindows));
  EXPECT_EQ(Shell32::SHGetSpecialFolderPath(0x7F, false), L"");

  const ComApartment LApartment;
  STRRET LWide{};
  LWide.uType = STRRET_WSTR;
  LWide.pOleStr = static_cast<LPWSTR>(CoTaskMemAlloc(16));
  wcscpy(LWide.pOleStr, L"\u6d4b\u8bd5 ok");
  EXPECT_EQ(Shell32::StrRetToString(nullptr, LWide), L"\u6d4b\u8bd5 ok");
  LWide.pOleStr = nullptr;
  EXPECT_EQ(Shell32::StrRetToString(nullptr, LWide), L"");
  STRRET LAnsi{};
  LAnsi.uType = STRRET_CSTR;
  strcpy(LAnsi.cStr, "plain text");
  EXPECT_EQ(Shell32::StrRetToString(nullptr, LAnsi), L"plain text");
  // An item of 10 bytes with "abcdefgh" behind its size: the text at offset 4 ends with the item.
  BYTE LItem[12] = {10, 0, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 0, 0};
  STRRET LOffset{};
  LOffset.uType = STRRET_OFFSET;
  LOffset.uOffset = 4;
  EXPECT_EQ(Shell32::StrRetToString(reinterpret_cast<LPCITEMIDLIST>(LItem), LOffset), L"cdefgh");
  LItem[6] = 0;
  EXPECT_EQ(Shell32::StrRetToString(reinterpret_cast<LPCITEMIDLIST>(LItem), LOffset), L"cd");
  LOffset.uOffset = 10;
  EXPECT_EQ(Shell32::StrRetToString(reinterpret_cast<LPCITEMIDLIST>(LItem), LOffset), L"");
  LOffset.uType = 7;
  EXPECT_EQ(Shell32::StrRetToString(reinterpret_cast<LPCITEMIDLIST>(LItem), LOffset), L"");

  // The flags sit where the system's bit fields are.
  TShellState LState{};
  LState.SetData(1, true);    // fShowExtensions
  LState.SetData(15, true);   // fShowSuperHidden
  LState.SetData(16, true);   // fNoNetCrawling: beyond what SetData sets
  LState.SetData2(6, true);   // fShowStatusBar
  LState.SetData2(8, true);   // a spare flag: beyond what SetData2 sets
  SHELLSTATE LSystem;
  std::memcpy(&LSystem, &LState, sizeof(LSystem));
  EXPECT_TRUE(LSystem.fShowExtensions);
  EXPECT_TRUE(LSystem.fShowSuperHidden);
  EXPECT_FALSE(LSystem.fNoNetCrawling);
  EXPECT_TRUE(LSystem.fShowStatusBar);
  EXPECT_EQ(LSystem.fSpareFlags, 0u);
  EXPECT_EQ(LState.Data, 0x8002u);
  EXPECT_EQ(LState.Data2, 0x40u);
  LState.Data |= 1u << 16;
  EXPECT_TRUE(LState.GetData(16));
  LState.SetData(16, true);
  EXPECT_FALSE(LState.GetData(16)) << "cleared, not set again";
  LState.SetData(1, false);
  EXPECT_FALSE(LState.GetData(1));
  EXPECT_TRUE(LState.GetData2(6));
}

TEST(PlatformShell32, ItemIdListsWalkedOnRealShellFolders) {
  const ComApartment LApartment;
  EXPECT_EQ(Shell32::GetPIDLSize(nullptr), 0);
  EXPECT_EQ(Shell32::GetPIDLCount(nullptr), 0);
  EXPECT_EQ(Shell32::NextPIDL(nullptr), nullptr);
  EXPECT_EQ(Shell32::CopyPIDL(nullptr), nullptr);
  EXPECT_EQ(Shell32::RelativePIDLFromAbsolute(nullptr), nullptr);
  EXPECT_EQ(Shell32::CreatePIDL(-1), nullptr);

  TPidl LDesktop(Shell32::GetDesktopPIDL());
  ASSERT_NE(LDesktop.List, nullptr);
  EXPECT_EQ(Shell32::GetPIDLSize(LDesktop.List), 2) << "the desktop is a lone terminator";
  EXPECT_EQ(Shell32::GetPIDLCount(LDesktop.List), 0);
  TPidl LEmptyLast(Shell32::RelativePIDLFromAbsolute(LDesktop.List));
  EXPECT_EQ(Shell32::GetPIDLSize(LEmptyLast.List), 2);

  OvTest::TTempDir LDir;
  const std::wstring LFolderPath = LDir.Path() + L"\u6d4b\u8bd5 folder";
  ASSERT_TRUE(CreateDirectoryW(LFolderPath.c_str(), nullptr));
  OvTest::WriteFileBytes(LFolderPath + L"\\\u00e9t\u00e9 \u6587\u4ef6.txt", {1, 2, 3});
  const ComPtr<IShellFolder> LDesktopFolder = Shell32::GetDesktopShellFolder();
  ASSERT_TRUE(LDesktopFolder);
  TPidl LAbsolute;
  ASSERT_EQ(LDesktopFolder->ParseDisplayName(nullptr, nullptr, const_cast<LPWSTR>(LFolderPath.c_str()), nullptr,
                                             &LAbsolute.List, nullptr),
            S_OK);

  // Size and count against the shell's own walk.
  const int32_t LCount = Shell32::GetPIDLCount(LAbsolute.List);
  EXPECT_GE(LCount, 4) << "My Computer, the drive and at least two folders";
  EXPECT_EQ(static_cast<UINT>(Shell32::GetPIDLSize(LAbsolute.List)), ILGetSize(LAbsolute.List));
  int32_t LWalked = 0;
  for (LPITEMIDLIST LItem = LAbsolute.List; LItem->mkid.cb; LItem = Shell32::NextPIDL(LItem)) ++LWalked;
  EXPECT_EQ(LWalked, LCount);

  TPidl LCopy(Shell32::CopyPIDL(LAbsolute.List));
  ASSERT_NE(LCopy.List, LAbsolute.List);
  EXPECT_TRUE(ILIsEqual(LCopy.List, LAbsolute.List));

  // The last item, and the parent's list joined with it, against ILFindLastID and ILCombine.
  TPidl LLast(Shell32::RelativePIDLFromAbsolute(LAbsolute.List));
  const LPCITEMIDLIST LSystemLast = ILFindLastID(LAbsolute.List);
  EXPECT_EQ(Shell32::GetPIDLCount(LLast.List), 1);
  EXPECT_EQ(Bytes(LLast.List, Shell32::GetPIDLSize(LLast.List)), Bytes(LSystemLast, ILGetSize(LSystemLast)));
  TPidl LParent(ILClone(LAbsolute.List));
  ASSERT_TRUE(ILRemoveLastID(LParent.List));
  TPidl LJoined(Shell32::ConcatPIDLs(LParent.List, LLast.List));
  EXPECT_TRUE(ILIsEqual(LJoined.List, LAbsolute.List));
  TPidl LSystemJoined(ILCombine(LParent.List, LLast.List));
  EXPECT_EQ(Bytes(LJoined.List, ILGetSize(LSystemJoined.List)), Bytes(LSystemJoined.List, ILGetSize(LSystemJoined.List)));
  TPidl LFromNil(Shell32::ConcatPIDLs(nullptr, LAbsolute.List));
  EXPECT_EQ(Bytes(LFromNil.List, ILGetSize(LAbsolute.List)), Bytes(LAbsolute.List, ILGetSize(LAbsolute.List)));
  TPidl LToNil(Shell32::ConcatPIDLs(LAbsolute.List, nullptr));
  EXPECT_TRUE(ILIsEqual(LToNil.List, LAbsolute.List));
  TPidl LSingle(Shell32::RelativePIDLFromAbsolute(LLast.List));
  EXPECT_EQ(Bytes(LSingle.List, Shell32::GetPIDLSize(LLast.List)), Bytes(LLast.List, Shell32::GetPIDLSize(LLast.List)));

  // The folder of the list, from the desktop and from nil, lists the file by its name.
  for (IShellFolder* LFrom : {LDesktopFolder.Get(), static_cast<IShellFolder*>(nullptr)}) {
    const ComPtr<IShellFolder> LFolder = Shell32::GetIShellFolder(LFrom, LAbsolute.List, nullptr);
    ASSERT_TRUE(LFolder);
    ComPtr<IEnumIDList> LEnum;
    ASSERT_EQ(LFolder->EnumObjects(nullptr, SHCONTF_NONFOLDERS, &LEnum), S_OK);
    std::vector<std::wstring> LNames;
    LPITEMIDLIST LChild = nullptr;
    while (LEnum->Next(1, &LChild, nullptr) == S_OK) {
      STRRET LName{};
      if (SUCCEEDED(LFolder->GetDisplayNameOf(LChild, SHGDN_INFOLDER | SHGDN_FORPARSING, &LName)))
        LNames.push_back(Shell32::StrRetToString(LChild, LName));
      Shell32::DisposePIDL(LChild);
      EXPECT_EQ(LChild, nullptr);
    }
    ASSERT_EQ(LNames.size(), 1u);
    EXPECT_EQ(LNames[0], L"\u00e9t\u00e9 \u6587\u4ef6.txt");
  }

  // A file is no folder by any of the ways: nil.
  TPidl LFile;
  const std::wstring LFilePath = LFolderPath + L"\\\u00e9t\u00e9 \u6587\u4ef6.txt";
  ASSERT_EQ(LDesktopFolder->ParseDisplayName(nullptr, nullptr, const_cast<LPWSTR>(LFilePath.c_str()), nullptr,
                                             &LFile.List, nullptr),
            S_OK);
  EXPECT_FALSE(Shell32::GetIShellFolder(nullptr, LFile.List, nullptr));
}
