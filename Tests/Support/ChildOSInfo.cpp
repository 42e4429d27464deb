// A helper program for the OS information tests: writes what OSInfo sees as "name=value" lines
// (UTF-8) to the file given as its one argument. Built twice: ChildOSInfo with the compatibility
// manifest of a product's programs, ChildOSInfoBare without, so that a test sees both answers of
// GetVersionExW. The power operations are never called, only their capability checks.
// Exit code: 0 written, 2 bad usage, 3 a failure.
#include <cstdio>
#include <string>

#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.System.Win.OSInfo.h"
#include "OvComponentsRTL.h"

using namespace Ostravane;

int wmain(int argc, wchar_t** argv) {
  if (argc != 2) {
    fwprintf(stderr, L"ChildOSInfo <out file>\n");
    return 2;
  }
  try {
    TLibraryScope LLibrary;
    std::wstring LText;
    auto LLine = [&LText](const wchar_t* AName, const std::wstring& AValue) {
      LText += std::wstring(AName) + L"=" + AValue + L"\n";
    };
    LLine(L"version", std::to_wstring(OSInfo::WindowsVersion()));
    LLine(L"productType", std::to_wstring(OSInfo::WindowsProductType()));
    LLine(L"build", std::to_wstring(OSInfo::BuildNumber()));
    LLine(L"architecture", std::to_wstring(OSInfo::ProcessorArchitecture()));
    LLine(L"servicePack", std::to_wstring(OSInfo::ServicePack()));
    LLine(L"edition", std::to_wstring(OSInfo::WindowsEdition()));
    LLine(L"wow64", std::to_wstring(OSInfo::IsWow64()));
    LLine(L"text", OSInfo::WindowsVersionString());
    LLine(L"shutdownAllowed", std::to_wstring(OSInfo::IsShutdownAllowed()));
    LLine(L"sleepAllowed", std::to_wstring(OSInfo::IsSleepAllowed()));
    LLine(L"hibernationAllowed", std::to_wstring(OSInfo::IsHibernationAllowed()));
    Rtl::TFileHandleOwner LOut(CreateFileW(argv[1], GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                           FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!LOut) return 3;
    const std::string LUtf8 = Rtl::UTF8Encode(LText);
    DWORD LWritten = 0;
    return WriteFile(LOut.get(), LUtf8.data(), static_cast<DWORD>(LUtf8.size()), &LWritten, nullptr) ? 0 : 3;
  } catch (const std::exception& E) {
    fprintf(stderr, "ChildOSInfo: %s\n", E.what());
    return 3;
  }
}
