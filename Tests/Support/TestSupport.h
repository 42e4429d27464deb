// Helpers shared by all tests: a temporary folder of the test's own, the process's handle count,
// child processes, a message pump, and file contents.
#pragma once
#include <functional>
#include <string>
#include <vector>

#include "Ostravane.Rtl.System.h"

namespace OvTest {

// A new empty folder below the system's temporary folder, deleted with everything in it at the end.
class TTempDir {
 public:
  TTempDir();
  ~TTempDir();
  TTempDir(const TTempDir&) = delete;
  TTempDir& operator=(const TTempDir&) = delete;
  // With a trailing backslash.
  const std::wstring& Path() const { return FPath; }

 private:
  std::wstring FPath;
};

void DeleteTree(const std::wstring& APath);

// A new key below ARoot\Software, in the registry view AView (0, KEY_WOW64_32KEY or KEY_WOW64_64KEY),
// deleted with everything below it at the end. A name shared by two instances makes twins in two
// views. Keys of earlier runs whose process is gone are removed first.
class TTempRegKey {
 public:
  explicit TTempRegKey(HKEY ARoot = HKEY_CURRENT_USER, REGSAM AView = 0, const std::wstring& AName = UniqueName());
  ~TTempRegKey();
  TTempRegKey(const TTempRegKey&) = delete;
  TTempRegKey& operator=(const TTempRegKey&) = delete;
  HKEY Root() const { return FRoot; }
  REGSAM View() const { return FView; }
  // "Software\<name>", without a leading backslash.
  const std::wstring& Path() const { return FPath; }
  // A name no other test and no other process uses.
  static std::wstring UniqueName();

 private:
  HKEY FRoot;
  REGSAM FView;
  std::wstring FPath;
};

// Deletes ARoot\APath with everything below it, in the view AView; true when it is gone.
bool DeleteRegTree(HKEY ARoot, const std::wstring& APath, REGSAM AView);

// Raises the process's shared log to the maximum, with direct writes, for its lifetime, into the log
// folder already set or else a folder of this process; NewLines tells what was logged meanwhile.
class TLogCapture {
 public:
  TLogCapture();
  ~TLogCapture();
  TLogCapture(const TLogCapture&) = delete;
  TLogCapture& operator=(const TLogCapture&) = delete;
  // The lines written since the capture began, without their date column.
  std::vector<std::wstring> NewLines() const;
  // True when some new line contains AText.
  bool Logged(const std::wstring& AText) const;

 private:
  void* FLog;
  int32_t FOldLevel;
  BOOL FOldDirectWrite;
  std::wstring FFileName;
  size_t FStart;
};

// Handles the process holds now. Wine's GetProcessHandleCount always answers 0, so this reads the
// system's handle table (NtQuerySystemInformation, class 16) and keeps this process's entries.
// The count is taken once it has settled (three readings 20 ms apart agree, at most 3 s).
size_t CountProcessHandles();
// Threads of the process now (a tool-help snapshot).
size_t CountProcessThreads();
// ACount() once it is back at AExpected, or what it is after ATimeoutMs: after a burst of work,
// Wine's own pool keeps an idle worker (a thread and its handle) for a few seconds.
size_t CountBackTo(size_t (*ACount)(), size_t AExpected, DWORD ATimeoutMs = 10000);

// The folder of the running test program, with a trailing backslash: the helper programs and the
// library lie there too.
std::wstring BinDir();

struct TChildResult {
  DWORD ExitCode = 0;
  bool TimedOut = false;
};
// Starts AProgram (a name in BinDir, or a full path) with AArguments and waits for it.
TChildResult RunChild(const std::wstring& AProgram, const std::wstring& AArguments, DWORD ATimeoutMs = 60000);

// Dispatches the calling thread's messages until ADone answers true or ATimeoutMs passes; true when
// ADone was met.
bool PumpMessagesUntil(const std::function<bool()>& ADone, DWORD ATimeoutMs = 10000);

std::vector<unsigned char> ReadFileBytes(const std::wstring& AFileName);
void WriteFileBytes(const std::wstring& AFileName, const std::vector<unsigned char>& ABytes);
// The bytes of a UTF-16 LE text, without a byte order mark.
std::vector<unsigned char> Utf16Bytes(const std::wstring& AText);
// A file's UTF-16 LE text behind its byte order mark; throws when the mark is missing.
std::wstring ReadUtf16File(const std::wstring& AFileName);
// Splits at CR LF; a trailing CR LF gives no empty last element.
std::vector<std::wstring> SplitLines(const std::wstring& AText);

}  // namespace OvTest
