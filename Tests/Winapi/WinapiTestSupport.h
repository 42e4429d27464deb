// A loader seam for the late-bound module tests: while a TSeam lives, DllRoutines loads and resolves
// through it; failed loads, missing exports and fake exports are set per test.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Ostravane.DllRoutines.h"

namespace OvWinapiTest {

struct TSeamState {
  std::set<std::wstring> Failing;  // lower-case file names whose load fails with ERROR_MOD_NOT_FOUND
  std::set<std::string> Missing;   // export names, or "#N" for an ordinal
  std::map<std::string, FARPROC> Fakes;
  std::map<std::wstring, int> Loads;  // load attempts by lower-case file name
  std::vector<std::string> Asked;     // what GetProcAddress was asked, as above
};
inline TSeamState GSeam;

inline std::wstring LowerFileName(std::wstring AName) {
  AName.erase(0, AName.find_last_of(L"\\/") + 1);
  for (auto& C : AName) C = static_cast<wchar_t>(towlower(C));
  return AName;
}

inline HMODULE WINAPI SeamLoad(LPCWSTR AName, HANDLE AFile, DWORD AFlags) {
  const std::wstring LName = LowerFileName(AName);
  ++GSeam.Loads[LName];
  if (!GSeam.Failing.count(LName)) return ::LoadLibraryExW(AName, AFile, AFlags);
  SetLastError(ERROR_MOD_NOT_FOUND);
  return nullptr;
}

inline FARPROC WINAPI SeamGetProcAddress(HMODULE AModule, LPCSTR AName) {
  std::string LKey = IS_INTRESOURCE(AName) ? std::string(1, '#') : std::string(AName);
  if (IS_INTRESOURCE(AName)) LKey += std::to_string(reinterpret_cast<uintptr_t>(AName));
  GSeam.Asked.push_back(LKey);
  if (GSeam.Missing.count(LKey)) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  const auto LFake = GSeam.Fakes.find(LKey);
  return LFake != GSeam.Fakes.end() ? LFake->second : ::GetProcAddress(AModule, AName);
}

// Gives back every load of the library's item and drops it, so that the next use loads again.
inline void ForgetLibrary(const std::wstring& AName) {
  for (auto* LItem = Ostravane::DllRoutines::GetItemByName(AName); LItem && LItem->LoadCounter() > 0;
       LItem = Ostravane::DllRoutines::GetItemByName(AName))
    Ostravane::DllRoutines::FreeLibrary(LItem);
  Ostravane::DllRoutines::FreeUnusedLibraries();
}

// The failed items stick in the registry, so they are dropped once the previous hook is back.
class TSeam {
 public:
  TSeam() {
    GSeam = TSeamState();
    Ostravane::TDllResolverHook LHook;
    LHook.LoadLibraryExW = &SeamLoad;
    LHook.GetProcAddress = &SeamGetProcAddress;
    FPrevious = Ostravane::DllRoutines::SetResolverHook(LHook);
  }
  ~TSeam() {
    Ostravane::DllRoutines::SetResolverHook(FPrevious);
    for (const auto& LName : GSeam.Failing) ForgetLibrary(LName);
    Ostravane::DllRoutines::FreeUnusedLibraries();
    GSeam = TSeamState();
  }
  TSeam(const TSeam&) = delete;
  TSeam& operator=(const TSeam&) = delete;

  static void Fail(const wchar_t* AName) {
    ForgetLibrary(AName);
    GSeam.Failing.insert(LowerFileName(AName));
  }
  template <typename TProc>
  static void Fake(const char* AName, TProc AProc) {
    GSeam.Fakes[AName] = reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(AProc));
  }
  static bool Asked(const std::string& AName) {
    return std::find(GSeam.Asked.begin(), GSeam.Asked.end(), AName) != GSeam.Asked.end();
  }

 private:
  Ostravane::TDllResolverHook FPrevious;
};

// The code of the EOSError that AAction raises; -1 for no exception, -2 for another one.
template <typename TAction>
int64_t OSErrorCode(TAction AAction) {
  try {
    AAction();
  } catch (const Ostravane::Rtl::EOSError& E) {
    return E.ErrorCode;
  } catch (...) {
    return -2;
  }
  return -1;
}

}  // namespace OvWinapiTest
