// TRegistry's keys against the real registry: open, create, delete of whole subtrees, the read-only
// masks, enumeration, both registry views under HKLM\Software, hives, the error state, remote
// connection, and the handle count over many cycles. Each test works below keys of its own.
#include "RegistryTestSupport.h"

#include <algorithm>

using namespace Ostravane;
using namespace OvTest;

namespace {

class TTestRegistry : public TRegistry {
 public:
  using TRegistry::IsRelative;
  using TRegistry::TRegistry;
};

TEST(RegistryKeyTest, OpenCreateExistsAndTheErrorState) {
  TTempRegKey LTemp;
  const std::wstring LPath = LTemp.Path();
  EXPECT_TRUE(TTestRegistry::IsRelative(L""));
  EXPECT_TRUE(TTestRegistry::IsRelative(L"Software"));
  EXPECT_FALSE(TTestRegistry::IsRelative(L"\\Software"));

  TRegistry R;
  EXPECT_EQ(R.RootKey(), HKEY_CURRENT_USER);
  EXPECT_EQ(R.Access(), static_cast<uint32_t>(KEY_ALL_ACCESS));
  EXPECT_EQ(R.CurrentKey(), nullptr);
  ASSERT_TRUE(R.OpenKey(L"\\" + LPath, false));
  EXPECT_NE(R.CurrentKey(), nullptr);
  EXPECT_EQ(R.CurrentPath(), LPath);
  EXPECT_EQ(R.LastError(), 0);
  EXPECT_EQ(R.GetLastErrorMsg(), L"");
  EXPECT_EQ(R.RegistryKeyToStr(L"V"), L"(x32)HKEY_CURRENT_USER\\" + LPath + L"\\\\V");

  // Relative to the open key, created on the way; the path grows by it.
  ASSERT_TRUE(R.OpenKey(L"Sub\\Deep", true));
  EXPECT_EQ(R.CurrentPath(), LPath + L"\\Sub\\Deep");
  EXPECT_TRUE(RawKeyExists(HKEY_CURRENT_USER, LPath + L"\\Sub\\Deep"));
  // An empty key with ACanCreate opens the base itself and creates nothing.
  ASSERT_TRUE(R.OpenKey(L"", true));
  EXPECT_EQ(R.CurrentPath(), LPath + L"\\Sub\\Deep\\");
  EXPECT_FALSE(R.HasSubKeys());
  R.WriteInteger(L"Here", 7);
  EXPECT_EQ(RawRead(HKEY_CURRENT_USER, LPath + L"\\Sub\\Deep", L"Here").Data, ValueBytes<int32_t>(7));

  // A failed open keeps the open key; LastError and the thread's last error hold the code.
  const HKEY LOpen = R.CurrentKey();
  SetLastError(0);
  EXPECT_FALSE(R.OpenKey(L"\\" + LPath + L"\\Missing", false));
  EXPECT_EQ(R.LastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(R.GetLastErrorMsg(), L"System Error. Code: 2. File not found.");
  EXPECT_EQ(R.CurrentKey(), LOpen);
  EXPECT_EQ(R.CurrentPath(), LPath + L"\\Sub\\Deep\\");
  EXPECT_FALSE(RawKeyExists(HKEY_CURRENT_USER, LPath + L"\\Missing")) << "an open without ACanCreate created the key";

  // CreateKey leaves the open key alone, also for a key that exists.
  EXPECT_TRUE(R.CreateKey(L"\\" + LPath + L"\\Other\\Two"));
  EXPECT_TRUE(R.CreateKey(L"\\" + LPath + L"\\Other\\Two"));
  EXPECT_TRUE(R.CreateKey(L"Child"));  // relative: below the open key
  EXPECT_TRUE(RawKeyExists(HKEY_CURRENT_USER, LPath + L"\\Sub\\Deep\\Child"));
  EXPECT_EQ(R.CurrentKey(), LOpen);
  EXPECT_EQ(R.LastError(), 0);

  // KeyExists and GetKey, absolute and relative; KeyExists gives Access back.
  R.SetAccess(KEY_ALL_ACCESS | KEY_WOW64_64KEY);
  EXPECT_TRUE(R.KeyExists(L"\\" + LPath + L"\\Other"));
  EXPECT_TRUE(R.KeyExists(L"Child"));
  EXPECT_FALSE(R.KeyExists(L"NoChild"));
  EXPECT_EQ(R.LastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(R.Access(), static_cast<uint32_t>(KEY_ALL_ACCESS | KEY_WOW64_64KEY));
  Rtl::TRegKeyOwner LKey(R.GetKey(L"\\" + LPath + L"\\Sub\\Deep"));
  ASSERT_TRUE(LKey);
  DWORD LValue = 0, LSize = 4;
  EXPECT_EQ(RegQueryValueExW(LKey.get(), L"Here", nullptr, nullptr, reinterpret_cast<BYTE*>(&LValue), &LSize), 0);
  EXPECT_EQ(LValue, 7u);
  EXPECT_EQ(R.GetKey(L"NoChild"), nullptr);

  // A success after a failure clears the error state.
  EXPECT_TRUE(R.OpenKey(L"\\" + LPath, false));
  EXPECT_EQ(R.LastError(), 0);
  EXPECT_EQ(R.CurrentPath(), LPath);
  R.CloseKey();
  EXPECT_EQ(R.CurrentKey(), nullptr);
  EXPECT_EQ(R.CurrentPath(), L"");
  // With no key open a relative path starts at the root.
  EXPECT_TRUE(R.OpenKey(LPath + L"\\Other", false));
  EXPECT_EQ(R.CurrentPath(), LPath + L"\\Other");
}

TEST(RegistryKeyTest, OpenKeyReadOnlyWalksDownItsThreeMasks) {
  TTempRegKey LTemp;
  const std::wstring LPath = LTemp.Path();
  RawWrite(HKEY_CURRENT_USER, LPath + L"\\Readable", L"V", REG_DWORD, ValueBytes<int32_t>(1));
  RawWrite(HKEY_CURRENT_USER, LPath + L"\\QueryOnly", L"V", REG_DWORD, ValueBytes<int32_t>(2));
  RawWrite(HKEY_CURRENT_USER, LPath + L"\\Listing", L"V", REG_DWORD, ValueBytes<int32_t>(3));
  // KEY_QUERY_VALUE (and the right to give the key its access back) only; the second: 0x20009.
  TKeyDacl LQueryOnly(HKEY_CURRENT_USER, LPath + L"\\QueryOnly", L"D:P(A;;0x40001;;;WD)");
  TKeyDacl LListing(HKEY_CURRENT_USER, LPath + L"\\Listing", L"D:P(A;;0x60009;;;WD)");

  TRegistry R(KEY_ALL_ACCESS | KEY_WOW64_64KEY);
  ASSERT_FALSE(R.OpenKey(L"\\" + LPath + L"\\QueryOnly", false)) << "the key's DACL is not enforced";
  EXPECT_EQ(R.LastError(), ERROR_ACCESS_DENIED);

  ASSERT_TRUE(R.OpenKeyReadOnly(L"\\" + LPath + L"\\Readable"));
  EXPECT_EQ(R.Access(), static_cast<uint32_t>(KEY_READ | KEY_WOW64_64KEY));
  EXPECT_EQ(R.ReadInteger(L"V"), 1);

  R.SetAccess(KEY_ALL_ACCESS | KEY_WOW64_32KEY);
  ASSERT_TRUE(R.OpenKeyReadOnly(L"\\" + LPath + L"\\Listing"));
  EXPECT_EQ(R.Access(), 0x20009u | KEY_WOW64_32KEY);
  EXPECT_EQ(R.ReadInteger(L"V"), 3);

  R.SetAccess(KEY_ALL_ACCESS | KEY_WOW64_64KEY);
  ASSERT_TRUE(R.OpenKeyReadOnly(L"\\" + LPath + L"\\QueryOnly"));
  EXPECT_EQ(R.Access(), static_cast<uint32_t>(KEY_QUERY_VALUE | KEY_WOW64_64KEY));
  EXPECT_EQ(R.CurrentPath(), LPath + L"\\QueryOnly");
  EXPECT_EQ(R.ReadInteger(L"V"), 2);
  // The weak mask stays for the next operations: writing is refused.
  EXPECT_EQ(Raised([&] { R.WriteInteger(L"W", 1); }),
            L"ERegistryException: Failed to set data for 'W' System Error. Code: 5. Access denied.");

  // All three refused (the key is missing): Access and the open key stay as they were.
  const HKEY LOpen = R.CurrentKey();
  R.SetAccess(KEY_ALL_ACCESS | KEY_WOW64_64KEY);
  EXPECT_FALSE(R.OpenKeyReadOnly(L"\\" + LPath + L"\\Missing"));
  EXPECT_EQ(R.Access(), static_cast<uint32_t>(KEY_ALL_ACCESS | KEY_WOW64_64KEY));
  EXPECT_EQ(R.CurrentKey(), LOpen);
  EXPECT_EQ(R.CurrentPath(), LPath + L"\\QueryOnly");
}

TEST(RegistryKeyTest, DeleteKeyTakesWholeSubtreesAndStopsAtAKeyItCannotDelete) {
  TTempRegKey LTemp;
  const std::wstring LPath = LTemp.Path();
  for (const wchar_t* LKey : {L"\\Tree\\A\\A1\\A2", L"\\Tree\\A\\B1", L"\\Tree\\日本語\\x", L"\\Tree2\\Z\\Z1"})
    RawWrite(HKEY_CURRENT_USER, LPath + LKey, L"V", REG_SZ, TextBytes(L"v"));
  RawWrite(HKEY_CURRENT_USER, LPath + L"\\Tree", L"", REG_SZ, TextBytes(L"default"));

  TRegistry R;
  EXPECT_TRUE(R.DeleteKey(L"\\" + LPath + L"\\Tree"));
  EXPECT_EQ(R.LastError(), 0);
  EXPECT_FALSE(RawKeyExists(HKEY_CURRENT_USER, LPath + L"\\Tree"));
  EXPECT_TRUE(RawKeyExists(HKEY_CURRENT_USER, LPath + L"\\Tree2\\Z\\Z1"));
  // Relative to the open key, which stays open.
  ASSERT_TRUE(R.OpenKey(L"\\" + LPath, false));
  const HKEY LOpen = R.CurrentKey();
  EXPECT_TRUE(R.DeleteKey(L"Tree2"));
  EXPECT_FALSE(RawKeyExists(HKEY_CURRENT_USER, LPath + L"\\Tree2"));
  EXPECT_EQ(R.CurrentKey(), LOpen);
  EXPECT_FALSE(R.DeleteKey(L"Tree2"));
  EXPECT_EQ(R.LastError(), ERROR_FILE_NOT_FOUND);

  // Subkeys go from the last index down: C first, then B can't be deleted and the walk stops with A
  // and the key itself left; C stays deleted.
  for (const wchar_t* LKey : {L"\\Mid\\A\\A1", L"\\Mid\\B\\B1", L"\\Mid\\C\\C1\\C2"})
    RawWrite(HKEY_CURRENT_USER, LPath + LKey, L"V", REG_DWORD, ValueBytes<int32_t>(1));
  {
    TKeyDacl LLocked(HKEY_CURRENT_USER, LPath + L"\\Mid\\B", L"D:P(D;;SD;;;WD)(A;;KA;;;WD)");
    EXPECT_FALSE(R.DeleteKey(L"Mid"));
    EXPECT_EQ(R.LastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_FALSE(RawKeyExists(HKEY_CURRENT_USER, LPath + L"\\Mid\\C"));
    EXPECT_TRUE(RawKeyExists(HKEY_CURRENT_USER, LPath + L"\\Mid\\B\\B1"));
    EXPECT_TRUE(RawKeyExists(HKEY_CURRENT_USER, LPath + L"\\Mid\\A\\A1"));
    EXPECT_EQ(R.CurrentKey(), LOpen);
    EXPECT_EQ(R.CurrentPath(), LPath);
  }
  EXPECT_TRUE(R.DeleteKey(L"Mid"));
  EXPECT_FALSE(RawKeyExists(HKEY_CURRENT_USER, LPath + L"\\Mid"));
}

TEST(RegistryKeyTest, EnumerationOfKeysAndValues) {
  TTempRegKey LTemp;
  const std::wstring LPath = LTemp.Path();
  for (const wchar_t* LKey : {L"\\b", L"\\a", L"\\日本語", L"\\c\\inner"})
    RawWrite(HKEY_CURRENT_USER, LPath + LKey, L"x", REG_SZ, TextBytes(L"x"));
  for (const wchar_t* LName : {L"", L"one", L"値", L"a\\b"}) RawWrite(HKEY_CURRENT_USER, LPath, LName, REG_DWORD, ValueBytes<int32_t>(1));

  TRegistry R;
  Rtl::TStringList LNames;
  // No key open: the query fails and raises with the open path (none) and the system's text.
  EXPECT_EQ(Raised([&] { R.GetKeyNames(LNames); }),
            L"ERegistryException: Failed to get data for '' System Error. Code: 6. Invalid handle.");
  EXPECT_EQ(R.LastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(Raised([&] { R.GetValueNames(LNames); }),
            L"ERegistryException: Failed to get data for '' System Error. Code: 6. Invalid handle.");
  EXPECT_FALSE(R.HasSubKeys());

  ASSERT_TRUE(R.OpenKeyReadOnly(L"\\" + LPath));
  TRegKeyInfo LInfo;
  ASSERT_TRUE(R.GetKeyInfo(LInfo));
  EXPECT_EQ(LInfo.NumSubKeys, 4u);
  EXPECT_EQ(LInfo.NumValues, 4u);
  EXPECT_EQ(LInfo.MaxSubKeyLen, 3u);  // "日本語"; "inner" lies one level deeper
  EXPECT_EQ(LInfo.MaxValueLen, 3u);
  EXPECT_EQ(LInfo.MaxDataLen, 4u);
  EXPECT_TRUE(R.HasSubKeys());

  LNames.Add(L"stale");
  EXPECT_FALSE(R.KeyExists(L"Missing"));  // a failure first: the walk's end clears the state
  R.GetKeyNames(LNames);
  EXPECT_EQ(R.LastError(), 0);
  std::vector<std::wstring> LKeys;
  for (int32_t I = 0; I < LNames.Count(); ++I) LKeys.push_back(LNames[I]);
  std::sort(LKeys.begin(), LKeys.end());
  EXPECT_EQ(LKeys, (std::vector<std::wstring>{L"a", L"b", L"c", L"日本語"}));

  R.GetValueNames(LNames);
  std::vector<std::wstring> LValues;
  for (int32_t I = 0; I < LNames.Count(); ++I) LValues.push_back(LNames[I]);
  std::sort(LValues.begin(), LValues.end());
  EXPECT_EQ(LValues, (std::vector<std::wstring>{L"", L"a\\b", L"one", L"値"}));

  ASSERT_TRUE(R.OpenKey(L"c\\inner", false));
  EXPECT_FALSE(R.HasSubKeys());
  R.GetKeyNames(LNames);
  EXPECT_EQ(LNames.Count(), 0);
  R.GetValueNames(LNames);
  ASSERT_EQ(LNames.Count(), 1);
  EXPECT_EQ(LNames[0], L"x");
}

// The same key name below HKLM\Software in the 32-bit and the 64-bit view: two keys.
class RegistryViewTest : public testing::Test {
 protected:
  const std::wstring FName = TTempRegKey::UniqueName();
  TTempRegKey F32{HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, FName};
  TTempRegKey F64{HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, FName};
  const std::wstring FPath = F32.Path();

  static TRegistry* Open(TRegistry& R, REGSAM AView, const std::wstring& APath) {
    R.SetRootKey(HKEY_LOCAL_MACHINE);
    R.SetAccess(KEY_ALL_ACCESS | AView);
    EXPECT_TRUE(R.OpenKey(L"\\" + APath, true)) << R.GetLastErrorMsg();
    return &R;
  }

  void BuildTree(REGSAM AView, const std::wstring& ATag) {
    TRegistry R;
    Open(R, AView, FPath + L"\\Tree\\L1\\L2\\L3");
    R.WriteString(L"Tag", ATag);
    ASSERT_TRUE(R.OpenKey(L"\\" + FPath + L"\\Tree\\L1\\Side", true));
    R.WriteString(L"Tag", ATag);
  }
};

TEST_F(RegistryViewTest, AValueOfOneViewIsNotSeenInTheOther) {
  TRegistry R32, R64;
  Open(R32, KEY_WOW64_32KEY, FPath);
  Open(R64, KEY_WOW64_64KEY, FPath);
  R32.WriteString(L"Side", L"32");
  R32.WriteInteger(L"Only32", 32);
  R64.WriteString(L"Side", L"64");
  R64.WriteInt64(L"Only64", 64);
  EXPECT_EQ(R32.ReadString(L"Side"), L"32");
  EXPECT_EQ(R64.ReadString(L"Side"), L"64");
  EXPECT_FALSE(R64.ValueExists(L"Only32"));
  EXPECT_FALSE(R32.ValueExists(L"Only64"));
  EXPECT_EQ(RawRead(HKEY_LOCAL_MACHINE, FPath, L"Only32", KEY_WOW64_32KEY).Data, ValueBytes<int32_t>(32));
  EXPECT_EQ(RawRead(HKEY_LOCAL_MACHINE, FPath, L"Only32", KEY_WOW64_64KEY).Code, ERROR_FILE_NOT_FOUND);

  // The key string names the view, and leads back to it.
  const UnicodeString L32 = R32.RegistryKeyToStr(L"Side"), L64 = R64.RegistryKeyToStr(L"Side");
  EXPECT_EQ(L32, L"(x32)HKEY_LOCAL_MACHINE\\" + FPath + L"\\\\Side");
  EXPECT_EQ(L64, L"(x64)HKEY_LOCAL_MACHINE\\" + FPath + L"\\\\Side");
  for (const auto& [LText, LExpected] : {std::pair{L32, L"32"}, std::pair{L64, L"64"}}) {
    uint32_t LFlag = 0;
    HKEY LRoot = nullptr;
    UnicodeString LKey, LName;
    TRegistry::ExtractKeyParams(LText, LFlag, LRoot, LKey, LName);
    TRegistry R(KEY_READ | LFlag);
    R.SetRootKey(LRoot);
    ASSERT_TRUE(R.OpenKey(LKey, false));
    EXPECT_EQ(R.ReadString(LName), LExpected);
  }

  // Below HKCU both views are one key.
  TTempRegKey LUser;
  TRegistry RU32(KEY_ALL_ACCESS | KEY_WOW64_32KEY), RU64(KEY_ALL_ACCESS | KEY_WOW64_64KEY);
  ASSERT_TRUE(RU32.OpenKey(L"\\" + LUser.Path(), false));
  ASSERT_TRUE(RU64.OpenKey(L"\\" + LUser.Path(), false));
  RU32.WriteString(L"Shared", L"from 32");
  EXPECT_EQ(RU64.ReadString(L"Shared"), L"from 32");
  RU64.WriteInteger(L"Shared", 64);
  EXPECT_EQ(RU32.ReadInteger(L"Shared"), 64);
}

TEST_F(RegistryViewTest, DeletingASubtreeInOneViewLeavesItsTwinInTheOther) {
  for (const REGSAM LView : {KEY_WOW64_32KEY, KEY_WOW64_64KEY}) {
    const REGSAM LOther = LView == KEY_WOW64_32KEY ? KEY_WOW64_64KEY : KEY_WOW64_32KEY;
    const std::wstring LTag = LView == KEY_WOW64_32KEY ? L"32" : L"64";
    const std::wstring LOtherTag = LView == KEY_WOW64_32KEY ? L"64" : L"32";
    BuildTree(LView, LTag);
    BuildTree(LOther, LOtherTag);
    TRegistry R;
    Open(R, LView, FPath + L"\\Tree\\L1");
    Rtl::TStringList LNames;
    R.GetKeyNames(LNames);
    EXPECT_EQ(LNames.Count(), 2);
    ASSERT_TRUE(R.OpenKey(L"L2\\L3", false));
    EXPECT_EQ(R.ReadString(L"Tag"), LTag);
    ASSERT_TRUE(R.OpenKey(L"\\" + FPath, false));
    EXPECT_TRUE(R.DeleteKey(L"Tree")) << R.GetLastErrorMsg();
    EXPECT_FALSE(R.KeyExists(L"Tree"));
    EXPECT_FALSE(RawKeyExists(HKEY_LOCAL_MACHINE, FPath + L"\\Tree", LView));
    EXPECT_EQ(RawRead(HKEY_LOCAL_MACHINE, FPath + L"\\Tree\\L1\\L2\\L3", L"Tag", LOther).Data, TextBytes(LOtherTag));
    EXPECT_EQ(RawRead(HKEY_LOCAL_MACHINE, FPath + L"\\Tree\\L1\\Side", L"Tag", LOther).Data, TextBytes(LOtherTag));
    // An absolute path in the other view's instance removes the twin.
    TRegistry ROther(KEY_ALL_ACCESS | LOther);
    ROther.SetRootKey(HKEY_LOCAL_MACHINE);
    EXPECT_TRUE(ROther.DeleteKey(L"\\" + FPath + L"\\Tree"));
    EXPECT_FALSE(RawKeyExists(HKEY_LOCAL_MACHINE, FPath + L"\\Tree", LOther));
  }
}

TEST(RegistryKeyTest, HivesSaveAndLoadASubtree) {
  TTempRegKey LTemp;
  TTempDir LDir;
  const std::wstring LPath = LTemp.Path();
  const std::wstring LFile = LDir.Path() + L"hive.dat";
  RawWrite(HKEY_CURRENT_USER, LPath + L"\\Saved\\Inner", L"Text", REG_SZ, TextBytes(L"日本語 hive"));
  RawWrite(HKEY_CURRENT_USER, LPath + L"\\Saved", L"Number", REG_DWORD, ValueBytes<int32_t>(-42));

  TRegistry R;
  ASSERT_TRUE(R.OpenKey(L"\\" + LPath, false));
  // Without the backup privilege the system refuses to save.
  EXPECT_FALSE(R.SaveKey(L"Saved", LFile));
  EXPECT_EQ(R.LastError(), ERROR_PRIVILEGE_NOT_HELD);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PRIVILEGE_NOT_HELD));
  ASSERT_TRUE(EnableTokenPrivilege(SE_BACKUP_NAME));
  ASSERT_TRUE(EnableTokenPrivilege(SE_RESTORE_NAME));

  EXPECT_FALSE(R.SaveKey(L"Missing", LFile));
  EXPECT_EQ(R.LastError(), ERROR_FILE_NOT_FOUND);
  ASSERT_TRUE(R.SaveKey(L"Saved", LFile)) << R.GetLastErrorMsg();
  EXPECT_TRUE(Rtl::FileExists(LFile));
  const bool LSavedAgain = R.SaveKey(L"Saved", LFile);
  if (IsWine()) {
    // Wine's RegSaveKeyW writes over a file that exists, where Windows refuses.
    EXPECT_TRUE(LSavedAgain);
  } else {
    EXPECT_FALSE(LSavedAgain);
    EXPECT_EQ(R.LastError(), ERROR_ALREADY_EXISTS);
  }

  // Loaded below HKLM: the whole subtree is there. LoadKey ignores the open key.
  const std::wstring LHive = L"OvRTLHive-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(GetTickCount());
  // A hive left loaded by a failed assertion goes too.
  struct THiveGuard {
    const std::wstring& Name;
    ~THiveGuard() {
      RegUnLoadKeyW(HKEY_LOCAL_MACHINE, Name.c_str());
      RegUnLoadKeyW(HKEY_USERS, Name.c_str());
    }
  } LGuard{LHive};
  TRegistry RLoad;
  RLoad.SetRootKey(HKEY_LOCAL_MACHINE);
  ASSERT_TRUE(RLoad.OpenKey(L"\\Software", false));
  ASSERT_TRUE(RLoad.LoadKey(L"\\" + LHive, LFile)) << RLoad.GetLastErrorMsg();
  {
    TRegistry RRead(KEY_READ);
    RRead.SetRootKey(HKEY_LOCAL_MACHINE);
    ASSERT_TRUE(RRead.OpenKey(L"\\" + LHive, false));
    EXPECT_EQ(RRead.ReadInteger(L"Number"), -42);
    ASSERT_TRUE(RRead.OpenKey(L"Inner", false));
    EXPECT_EQ(RRead.ReadString(L"Text"), L"日本語 hive");
  }
  EXPECT_TRUE(RLoad.UnLoadKey(LHive)) << RLoad.GetLastErrorMsg();
  EXPECT_FALSE(RawKeyExists(HKEY_LOCAL_MACHINE, LHive));
  EXPECT_FALSE(RLoad.UnLoadKey(LHive));
  EXPECT_NE(RLoad.LastError(), 0);
  // Below HKU too, by a name with a leading backslash.
  RLoad.SetRootKey(HKEY_USERS);
  ASSERT_TRUE(RLoad.LoadKey(L"\\" + LHive, LFile)) << RLoad.GetLastErrorMsg();
  EXPECT_EQ(RawRead(HKEY_USERS, LHive + L"\\Inner", L"Text").Data, TextBytes(L"日本語 hive"));
  EXPECT_TRUE(RLoad.UnLoadKey(L"\\" + LHive)) << RLoad.GetLastErrorMsg();
  EXPECT_FALSE(RawKeyExists(HKEY_USERS, LHive));
}

TEST(RegistryKeyTest, RestoreAndReplaceKey) {
  TTempRegKey LTemp;
  TTempDir LDir;
  const std::wstring LPath = LTemp.Path();
  const std::wstring LFile = LDir.Path() + L"hive.dat";
  ASSERT_TRUE(EnableTokenPrivilege(SE_BACKUP_NAME));
  ASSERT_TRUE(EnableTokenPrivilege(SE_RESTORE_NAME));
  RawWrite(HKEY_CURRENT_USER, LPath + L"\\Source", L"V", REG_DWORD, ValueBytes<int32_t>(5));
  RawWrite(HKEY_CURRENT_USER, LPath + L"\\Target", L"Old", REG_DWORD, ValueBytes<int32_t>(1));
  TRegistry R;
  ASSERT_TRUE(R.OpenKey(L"\\" + LPath, false));
  ASSERT_TRUE(R.SaveKey(L"Source", LFile));
  EXPECT_FALSE(R.RestoreKey(L"Missing", LFile)) << "a key that can't be opened";
  const bool LRestored = R.RestoreKey(L"Target", LFile);
  if (IsWine()) {
    // Wine's RegRestoreKeyW is a stub: it answers success and restores nothing.
    EXPECT_TRUE(LRestored);
    EXPECT_EQ(RawRead(HKEY_CURRENT_USER, LPath + L"\\Target", L"Old").Data, ValueBytes<int32_t>(1));
    EXPECT_EQ(RawRead(HKEY_CURRENT_USER, LPath + L"\\Target", L"V").Code, ERROR_FILE_NOT_FOUND);
  } else {
    EXPECT_TRUE(LRestored) << R.GetLastErrorMsg();
    EXPECT_EQ(RawRead(HKEY_CURRENT_USER, LPath + L"\\Target", L"V").Data, ValueBytes<int32_t>(5));
  }
  // ReplaceKey swaps a hive's file at the next start, so the key keeps its values now. Wine's
  // RegReplaceKeyW is a stub that answers success; Windows refuses a key that is no hive root.
  const bool LReplaced = R.ReplaceKey(L"Target", LFile, LDir.Path() + L"backup.dat");
  if (IsWine()) {
    EXPECT_TRUE(LReplaced);
    EXPECT_EQ(R.LastError(), 0);
  } else {
    EXPECT_FALSE(LReplaced);
    EXPECT_NE(R.LastError(), 0);
  }
  EXPECT_EQ(RawRead(HKEY_CURRENT_USER, LPath + L"\\Target", L"Old").Data, ValueBytes<int32_t>(1));
}

TEST(RegistryKeyTest, RegistryConnect) {
  TTempRegKey LTemp;
  RawWrite(HKEY_CURRENT_USER, LTemp.Path(), L"V", REG_SZ, TextBytes(L"local"));
  TRegistry R;
  // This machine, by an empty name and by its own name.
  ASSERT_TRUE(R.RegistryConnect(L""));
  ASSERT_TRUE(R.OpenKey(L"\\" + LTemp.Path(), false));
  EXPECT_EQ(R.ReadString(L"V"), L"local");
  wchar_t LComputer[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD LLength = MAX_COMPUTERNAME_LENGTH + 1;
  ASSERT_TRUE(GetComputerNameW(LComputer, &LLength));
  TRegistry RNamed;
  ASSERT_TRUE(RNamed.RegistryConnect(L"\\\\" + std::wstring(LComputer)));
  ASSERT_TRUE(RNamed.OpenKey(L"\\" + LTemp.Path(), false));
  EXPECT_EQ(RNamed.ReadString(L"V"), L"local");
  // A machine that isn't there: false, the code in LastError and in the thread's last error.
  TRegistry RRemote;
  SetLastError(0);
  EXPECT_FALSE(RRemote.RegistryConnect(L"\\\\ovrtl-no-such-machine"));
  EXPECT_NE(RRemote.LastError(), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(RRemote.LastError()));
  EXPECT_EQ(RRemote.RootKey(), HKEY_CURRENT_USER);
}

TEST(RegistryKeyTest, TenThousandOpenReadCloseCyclesLeaveTheHandleCount) {
  TTempRegKey LTemp;
  const std::wstring LKey = L"\\" + LTemp.Path();
  RawWrite(HKEY_CURRENT_USER, LTemp.Path(), L"V", REG_DWORD, ValueBytes<int32_t>(9));
  RawWrite(HKEY_CURRENT_USER, LTemp.Path() + L"\\Sub\\Deeper", L"S", REG_SZ, TextBytes(L"x"));
  TRegistry R;
  int64_t LSum = 0;
  // Warm up whatever the system opens once.
  ASSERT_TRUE(R.OpenKeyReadOnly(LKey));
  R.CloseKey();
  const size_t LBefore = CountProcessHandles();
  for (int I = 0; I < 10000; ++I) {
    R.SetAccess(KEY_ALL_ACCESS);
    if (!R.OpenKeyReadOnly(LKey)) break;
    LSum += R.ReadInteger(L"V");
    R.CloseKey();
  }
  EXPECT_EQ(LSum, 90000);
  // The other roads that open keys of their own: copies, deletes, enumerations, failures.
  R.SetAccess(KEY_ALL_ACCESS);
  ASSERT_TRUE(R.OpenKey(LKey, false));
  Rtl::TStringList LNames;
  for (int I = 0; I < 50; ++I) {
    R.MoveKey(L"Sub", L"Copy", false);
    R.GetKeyNames(LNames);
    EXPECT_TRUE(R.KeyExists(L"Copy\\Deeper"));
    EXPECT_TRUE(R.DeleteKey(L"Copy"));
    EXPECT_NE(Raised([&] { R.MoveKey(L"Missing", L"Copy", true); }), L"none");
    EXPECT_EQ(R.ReadStringDef(L"Missing", L"d"), L"d");
  }
  R.CloseKey();
  EXPECT_EQ(CountProcessHandles(), LBefore);
}

}  // namespace
