// CommonSettings: start-up facts, the defaults, and the typed store with its notification.
#include "Ostravane.Project.Settings.h"

#include "Ostravane.Project.EventNotifier.h"
#include "Ostravane.Winapi.Messages.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(CommonSettings, nullptr)

namespace {
// KEY_READ and KEY_WRITE.
constexpr uint32_t C_SETTINGS_ACCESS = 0x2001F;
}  // namespace

// FCSMain held and the settings key open for a scope; a key that can't be opened leaves the lock
// at once.
class CommonSettings::TKeyScope {
 public:
  TKeyScope() {
    Lock();
    try {
      OpenRegistryKey();
    } catch (...) {
      Unlock();
      throw;
    }
  }
  ~TKeyScope() {
    CloseRegistryKey();
    Unlock();
  }
  TKeyScope(const TKeyScope&) = delete;
  TKeyScope& operator=(const TKeyScope&) = delete;
};

// ---- Start and stop -------------------------------------------------------------------------------

void CommonSettings::Init() {
  FCSMain = new Rtl::TCriticalSection();
  FInstallationPath = Rtl::IncludeTrailingPathDelimiter(Rtl::ExtractFilePath(Rtl::GetModuleName(Rtl::HInstance())));
  FDefaultBoolean = new TDefaults<bool>();
  FDefaultInteger = new TDefaults<int32_t>();
  FDefaultInt64 = new TDefaults<int64_t>();
  FDefaultDouble = new TDefaults<double>();
  FDefaultString = new TDefaults<UnicodeString>();
  FConfigFileName = GetConfigFileName();
  FConfigFile = FConfigFileName.empty() ? nullptr : new Rtl::TMemIniFile(FConfigFileName);
  FBaseApplicationFile = GetBaseApp(FConfigFile);
  FBaseAppVerInfo = new TFileVersionInfo(FInstallationPath + FBaseApplicationFile, false);
  FAppVerInfo = new TFileVersionInfo(Rtl::ParamStr(0), false);
  FCompanyName = GetFileVersionInfoStr(true, L"CompanyName");
  FName = GetFileVersionInfoStr(true, L"ProductName");
  FVersionStr = GetFileVersionInfoStr(true, L"ProductVersion");
  FRegistryRoot = HKEY_LOCAL_MACHINE;
  FRegistryKey = Rtl::Format(L"\\Software\\%s\\%s\\%s\\",
                             {PrepareInternalName(FCompanyName, false), PrepareInternalName(FName, false), FVersionStr});
  FRegistryKeySettings = Rtl::IncludeTrailingPathDelimiter(FRegistryKey + L"Settings");
  FRegistry = new TRegistry();
  FRegistry->SetAccess(C_SETTINGS_ACCESS);
  FRegistry->SetRootKey(FRegistryRoot);
  DefinedCustomMessage(FConfigFile);
}

void CommonSettings::Done() {
  delete FConfigFile;
  FConfigFile = nullptr;
  delete FAppVerInfo;
  FAppVerInfo = nullptr;
  delete FBaseAppVerInfo;
  FBaseAppVerInfo = nullptr;
  delete FRegistry;
  FRegistry = nullptr;
  delete FDefaultBoolean;
  FDefaultBoolean = nullptr;
  delete FDefaultInteger;
  FDefaultInteger = nullptr;
  delete FDefaultInt64;
  FDefaultInt64 = nullptr;
  delete FDefaultDouble;
  FDefaultDouble = nullptr;
  delete FDefaultString;
  FDefaultString = nullptr;
  delete FCSMain;
  FCSMain = nullptr;
  for (UnicodeString* S : {&FInstallationPath, &FBaseApplicationFile, &FConfigFileName, &FCompanyName, &FName,
                           &FVersionStr, &FRegistryKey, &FRegistryKeySettings})
    S->clear();
}

// ---- Start-up facts ---------------------------------------------------------------------------------

UnicodeString CommonSettings::GetConfigFileName() {
  for (const UnicodeString& L :
       {FInstallationPath + S_CONFIG_DATA_FOLDER + L"\\" + S_CONFIG_FILE_NAME, FInstallationPath + S_CONFIG_FILE_NAME})
    if (Rtl::FileExists(L)) return L;
  return UnicodeString();
}

UnicodeString CommonSettings::GetBaseApp(const Rtl::TMemIniFile* AIniFile) {
  UnicodeString LResult = Rtl::ExtractFileName(Rtl::ParamStr(0));
  if (AIniFile && AIniFile->ValueExists(S_CONFIG_SECTION_COMMON, L"BaseApp")) {
    const UnicodeString LText = AIniFile->ReadString(S_CONFIG_SECTION_COMMON, L"BaseApp", L"");
    if (!LText.empty() && Rtl::FileExists(FInstallationPath + LText)) LResult = LText;
  }
  return LResult;
}

void CommonSettings::DefinedCustomMessage(const Rtl::TMemIniFile* AIniFile) {
  if (!AIniFile) return;
  const struct {
    const wchar_t* Key;
    void (*Set)(const UnicodeString&);
  } LMessages[] = {{L"MessageUninstallClose", &ExtMessages::SetWMUninstallCloseIDName},
                   {L"MessageLanguageChanged", &ExtMessages::SetWMLanguageChangeIDName},
                   {L"MessageSettingsChanged", &ExtMessages::SetWMSettingsChangeIDName}};
  for (const auto& L : LMessages) {
    if (!AIniFile->ValueExists(S_CONFIG_SECTION_COMMON, L.Key)) continue;
    const UnicodeString LText = AIniFile->ReadString(S_CONFIG_SECTION_COMMON, L.Key, L"");
    if (!LText.empty()) L.Set(LText);
  }
}

UnicodeString CommonSettings::GetFileVersionInfoStr(bool ABaseApp, const UnicodeString& AName) {
  UnicodeString LResult;
  if (ABaseApp && FBaseAppVerInfo && FBaseAppVerInfo->IsValueExist(AName)) LResult = FBaseAppVerInfo->GetValue(AName);
  if (LResult.empty() && FAppVerInfo && FAppVerInfo->IsValueExist(AName)) LResult = FAppVerInfo->GetValue(AName);
  return LResult.empty() ? UnicodeString(S_UNKNOWN_VERSION_VALUE) : LResult;
}

UnicodeString CommonSettings::PrepareInternalName(const UnicodeString& AName, bool AExtended) {
  UnicodeString LResult = AName;
  for (const wchar_t* LChars : {L"\\", L"/", L" ", L"-", L"_"}) {
    if (!AExtended && (*LChars == L' ' || *LChars == L'-' || *LChars == L'_')) continue;
    LResult = Rtl::StringReplace(LResult, LChars, L"", Rtl::rfReplaceAll);
  }
  return LResult;
}

// ---- Locks and notification ---------------------------------------------------------------------------

void CommonSettings::Lock() { FCSMain->Enter(); }

void CommonSettings::Unlock() { FCSMain->Leave(); }

void CommonSettings::BeginUpdate() { InterlockedIncrement(&FUpdateLockCount); }

void CommonSettings::EndUpdate() {
  if (InterlockedDecrement(&FUpdateLockCount) == 0) SendWMSettingsChanged();
}

void CommonSettings::SendWMSettingsChanged() {
  if (FUpdateLockCount == 0) EventNotifier::NotifyBroadcast(ExtMessages::FWMSettingsChange, 0);
}

void CommonSettings::OpenRegistryKey() {
  if (!FRegistry->OpenKey(FRegistryKeySettings, true))
    SysUtils::RaiseLastOSError(static_cast<int32_t>(GetLastError()), FRegistryKeySettings);
}

void CommonSettings::CloseRegistryKey() noexcept {
  if (FRegistry) FRegistry->CloseKey();
}

// ---- Defaults -----------------------------------------------------------------------------------------

template <typename T>
void CommonSettings::SetDefault(TDefaults<T>* ADefaults, const UnicodeString& AName, const T& ADefault) {
  Rtl::TCSGuard LGuard(*FCSMain);
  (*ADefaults)[AName] = ADefault;
}

template <typename T>
T CommonSettings::GetDefault(const TDefaults<T>* ADefaults, const UnicodeString& AName) {
  if (!ADefaults) return T();
  const auto LFound = ADefaults->find(AName);
  return LFound == ADefaults->end() ? T() : LFound->second;
}

void CommonSettings::SetDefaultBool(const UnicodeString& AName, bool ADefault) {
  SetDefault(FDefaultBoolean, AName, ADefault);
}
void CommonSettings::SetDefaultInteger(const UnicodeString& AName, int32_t ADefault) {
  SetDefault(FDefaultInteger, AName, ADefault);
}
void CommonSettings::SetDefaultInt64(const UnicodeString& AName, int64_t ADefault) {
  SetDefault(FDefaultInt64, AName, ADefault);
}
void CommonSettings::SetDefaultDouble(const UnicodeString& AName, double ADefault) {
  SetDefault(FDefaultDouble, AName, ADefault);
}
void CommonSettings::SetDefaultString(const UnicodeString& AName, const UnicodeString& ADefault) {
  SetDefault(FDefaultString, AName, ADefault);
}
bool CommonSettings::GetDefaultAsBool(const UnicodeString& AName) { return GetDefault(FDefaultBoolean, AName); }
int32_t CommonSettings::GetDefaultAsInteger(const UnicodeString& AName) { return GetDefault(FDefaultInteger, AName); }
int64_t CommonSettings::GetDefaultAsInt64(const UnicodeString& AName) { return GetDefault(FDefaultInt64, AName); }
double CommonSettings::GetDefaultAsDouble(const UnicodeString& AName) { return GetDefault(FDefaultDouble, AName); }
UnicodeString CommonSettings::GetDefaultAsString(const UnicodeString& AName) {
  return GetDefault(FDefaultString, AName);
}

// ---- Typed values ---------------------------------------------------------------------------------------

template <typename T, typename TRead, typename TWrite>
void CommonSettings::SetTyped(const UnicodeString& AName, const T& AData, TDefaults<T>* ADefaults, TRead ARead,
                              TWrite AWrite) {
  bool LChanged = false;
  {
    TKeyScope LScope;
    const T LDefault = GetDefault(ADefaults, AName);
    if (AData == LDefault) {
      if (FRegistry->ValueExists(AName)) {
        FRegistry->DeleteValue(AName);
        LChanged = true;
      }
    } else if (!((FRegistry->*ARead)(AName, LDefault) == AData)) {
      (FRegistry->*AWrite)(AName, AData);
      LChanged = true;
    }
  }
  if (LChanged) SendWMSettingsChanged();
}

template <typename T, typename TRead>
T CommonSettings::GetTyped(const UnicodeString& AName, TDefaults<T>* ADefaults, TRead ARead) {
  TKeyScope LScope;
  return (FRegistry->*ARead)(AName, GetDefault(ADefaults, AName));
}

void CommonSettings::SetBool(const UnicodeString& AName, bool AData) {
  SetTyped(AName, AData, FDefaultBoolean, &TRegistry::ReadBoolDef, &TRegistry::WriteBool);
}
void CommonSettings::SetInteger(const UnicodeString& AName, int32_t AData) {
  SetTyped(AName, AData, FDefaultInteger, &TRegistry::ReadIntegerDef, &TRegistry::WriteInteger);
}
void CommonSettings::SetInt64(const UnicodeString& AName, int64_t AData) {
  SetTyped(AName, AData, FDefaultInt64, &TRegistry::ReadInt64Def, &TRegistry::WriteInt64);
}
void CommonSettings::SetDouble(const UnicodeString& AName, double AData) {
  SetTyped(AName, AData, FDefaultDouble, &TRegistry::ReadFloatDef, &TRegistry::WriteFloat);
}
void CommonSettings::SetString(const UnicodeString& AName, const UnicodeString& AData) {
  SetTyped(AName, AData, FDefaultString, &TRegistry::ReadStringDef, &TRegistry::WriteString);
}
bool CommonSettings::GetBool(const UnicodeString& AName) {
  return GetTyped(AName, FDefaultBoolean, &TRegistry::ReadBoolDef);
}
int32_t CommonSettings::GetInteger(const UnicodeString& AName) {
  return GetTyped(AName, FDefaultInteger, &TRegistry::ReadIntegerDef);
}
int64_t CommonSettings::GetInt64(const UnicodeString& AName) {
  return GetTyped(AName, FDefaultInt64, &TRegistry::ReadInt64Def);
}
double CommonSettings::GetDouble(const UnicodeString& AName) {
  return GetTyped(AName, FDefaultDouble, &TRegistry::ReadFloatDef);
}
UnicodeString CommonSettings::GetString(const UnicodeString& AName) {
  return GetTyped(AName, FDefaultString, &TRegistry::ReadStringDef);
}

void CommonSettings::Reset(const UnicodeString& AName) {
  bool LChanged = false;
  {
    TKeyScope LScope;
    if (FRegistry->ValueExists(AName)) {
      FRegistry->DeleteValue(AName);
      LChanged = true;
    }
  }
  if (LChanged) SendWMSettingsChanged();
}

// ---- Arrays and streams: no defaults, a notification after every call ---------------------------------

void CommonSettings::SetArrayStrings(const UnicodeString& AName, const std::vector<UnicodeString>& AData) {
  {
    TKeyScope LScope;
    if (!AData.empty()) FRegistry->WriteMultiString(AName, AData);
    else if (FRegistry->ValueExists(AName)) FRegistry->DeleteValue(AName);
  }
  SendWMSettingsChanged();
}

std::vector<UnicodeString> CommonSettings::GetArrayStrings(const UnicodeString& AName) {
  std::vector<UnicodeString> LResult;
  TKeyScope LScope;
  if (FRegistry->ValueExists(AName) && FRegistry->GetDataType(AName) == rdMultiString)
    LResult = FRegistry->ReadMultiString(AName);
  return LResult;
}

void CommonSettings::SetStream(const UnicodeString& AName, Rtl::TStream* AData) {
  Lock();
  bool LOpened = false;
  try {
    if (!AData) SysUtils::RaiseLastOSError(ERROR_INVALID_DATA, UnicodeString());
    OpenRegistryKey();
    LOpened = true;
    const int64_t LSize = AData->GetSize();
    if (LSize > 0) {
      std::vector<uint8_t> LBuffer(static_cast<size_t>(LSize));
      AData->SetPosition(0);
      for (int64_t LDone = 0; LDone < LSize;) {
        const int32_t LRead = AData->Read(LBuffer.data() + LDone, static_cast<int32_t>(LSize - LDone));
        if (LRead <= 0) break;
        LDone += LRead;
      }
      FRegistry->WriteBinaryData(AName, LBuffer.data(), static_cast<int32_t>(LSize));
    } else if (FRegistry->ValueExists(AName)) {
      FRegistry->DeleteValue(AName);
    }
  } catch (...) {
    if (LOpened) CloseRegistryKey();
    Unlock();
    SendWMSettingsChanged();
    throw;
  }
  CloseRegistryKey();
  Unlock();
  SendWMSettingsChanged();
}

void CommonSettings::GetStream(const UnicodeString& AName, Rtl::TStream* AData) {
  Rtl::TCSGuard LGuard(*FCSMain);
  if (!AData) SysUtils::RaiseLastOSError(ERROR_INVALID_DATA, UnicodeString());
  AData->SetPosition(0);
  TKeyScope LScope;
  if (!FRegistry->ValueExists(AName) || FRegistry->GetDataType(AName) != rdBinary) return;
  const int32_t LSize = FRegistry->GetDataSize(AName);
  if (LSize < 1) return;
  std::vector<uint8_t> LBuffer(static_cast<size_t>(LSize));
  const int32_t LRead = FRegistry->ReadBinaryData(AName, LBuffer.data(), LSize);
  AData->Write(LBuffer.data(), LRead);
}

}  // namespace Ostravane
