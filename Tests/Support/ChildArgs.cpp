// A helper program for the command-line tests: writes what the library reads of its own command
// line into the file named by its first parameter (UTF-16, one item a line):
// ParamCount, ParamStr(1..n), then FindCmdLineSwitch of "verbose", "Verbose" (case-sensitive),
// "verbose" (case-sensitive), "X" and "two" as 0 or 1.
#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.Rtl.SysUtils.h"

using namespace Ostravane::Rtl;

int wmain() {
  std::wstring LText = std::to_wstring(ParamCount()) + L"\r\n";
  for (int I = 1; I <= ParamCount(); ++I) LText += ParamStr(I) + L"\r\n";
  LText += std::to_wstring(FindCmdLineSwitch(L"verbose")) + std::to_wstring(FindCmdLineSwitch(L"Verbose", false)) +
           std::to_wstring(FindCmdLineSwitch(L"verbose", false)) + std::to_wstring(FindCmdLineSwitch(L"X")) +
           std::to_wstring(FindCmdLineSwitch(L"two")) + L"\r\n";
  TFileHandleOwner LFile(CreateFileW(ParamStr(1).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  if (!LFile) return 1;
  DWORD LWritten;
  const wchar_t LBom = 0xFEFF;
  WriteFile(LFile.get(), &LBom, 2, &LWritten, nullptr);
  WriteFile(LFile.get(), LText.data(), static_cast<DWORD>(LText.size() * 2), &LWritten, nullptr);
  return 0;
}
