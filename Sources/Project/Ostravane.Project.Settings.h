// CommonSettings: the one settings store of a product. At start it finds the installation (the
// library's own folder), its main.ini ("Data" first), the base application and the product's key
// HKEY_LOCAL_MACHINE\Software\<company>\<product>\<version>\Settings, named from the version
// resources. Then it serves typed named values against registered defaults, storing only what
// deviates from them, and tells every program of the desktop that has the library of a change by
// one broadcast of ExtMessages.FWMSettingsChange, sent after FCSMain is left.
//
// A value equal to its default is never stored: setting the default deletes the value, and a value
// never stored follows a later change of its default. A name without a default has the type's zero
// default. Doubles compare exactly, strings with regard to case. A stored value of another registry
// type than its getter's reads as the default. Every read goes to the registry; nothing is cached.
//
// Notifications: a typed write and Reset notify when they changed the registry; SetArrayStrings and
// SetStream after every call, changed or not (SetStream also after its failure); the outermost
// EndUpdate always notifies, and nothing notifies while a BeginUpdate bracket is open.
//
// Failure contract: a settings key that can't be opened or created raises EOSError with the
// system's code and the key's text, from reads too; a failed registry write raises
// ERegistryException; SetStream and GetStream raise EOSError 13 for a null stream. The lock is left
// on every way out.
#pragma once
#include <map>
#include <memory>
#include <vector>

#include "Ostravane.Rtl.Classes.h"
#include "Ostravane.Rtl.IniFiles.h"
#include "Ostravane.Rtl.SyncObjs.h"
#include "Ostravane.System.FileVersionInfo.h"
#include "Ostravane.System.Win.Registry.h"

namespace Ostravane {

// The section of main.ini that this store reads.
inline constexpr wchar_t S_CONFIG_SECTION_COMMON[] = L"Common";
inline constexpr wchar_t S_CONFIG_FILE_NAME[] = L"main.ini";
inline constexpr wchar_t S_CONFIG_DATA_FOLDER[] = L"Data";
// What a version value missing in both resources gives, in the key too.
inline constexpr wchar_t S_UNKNOWN_VERSION_VALUE[] = L"Unknown";

class OVRTL_API CommonSettings {
  OV_STATIC_CLASS
 public:
  CommonSettings() = delete;

  // The unit's start and stop; Done leaves the GetDefaultAs operations answering zero values.
  static void Init();
  static void Done();

  // FCSMain, re-entrant; callers may bracket several operations.
  static void Lock();
  static void Unlock();
  // Brackets a batch of changes: one notification at the outermost EndUpdate. Must pair.
  static void BeginUpdate();
  static void EndUpdate();

  static void SetDefaultBool(const UnicodeString& AName, bool ADefault);
  static void SetDefaultInteger(const UnicodeString& AName, int32_t ADefault);
  static void SetDefaultInt64(const UnicodeString& AName, int64_t ADefault);
  static void SetDefaultDouble(const UnicodeString& AName, double ADefault);
  static void SetDefaultString(const UnicodeString& AName, const UnicodeString& ADefault);
  // Without the lock: not to race with the SetDefault operations, which belong to start-up.
  static bool GetDefaultAsBool(const UnicodeString& AName);
  static int32_t GetDefaultAsInteger(const UnicodeString& AName);
  static int64_t GetDefaultAsInt64(const UnicodeString& AName);
  static double GetDefaultAsDouble(const UnicodeString& AName);
  static UnicodeString GetDefaultAsString(const UnicodeString& AName);

  static void SetBool(const UnicodeString& AName, bool AData);
  static void SetInteger(const UnicodeString& AName, int32_t AData);
  static void SetInt64(const UnicodeString& AName, int64_t AData);
  static void SetDouble(const UnicodeString& AName, double AData);
  static void SetString(const UnicodeString& AName, const UnicodeString& AData);
  static bool GetBool(const UnicodeString& AName);
  static int32_t GetInteger(const UnicodeString& AName);
  static int64_t GetInt64(const UnicodeString& AName);
  static double GetDouble(const UnicodeString& AName);
  static UnicodeString GetString(const UnicodeString& AName);

  // A non-empty array is written as a multi-string, an empty one deletes the value.
  static void SetArrayStrings(const UnicodeString& AName, const std::vector<UnicodeString>& AData);
  // Empty unless a REG_MULTI_SZ value is stored.
  static std::vector<UnicodeString> GetArrayStrings(const UnicodeString& AName);
  // The whole stream, whatever its position; an empty stream deletes the value. The stream stays
  // the caller's.
  static void SetStream(const UnicodeString& AName, Rtl::TStream* AData);
  // Writes a stored REG_BINARY value at the stream's beginning (old content is not truncated) and
  // leaves the position behind it.
  static void GetStream(const UnicodeString& AName, Rtl::TStream* AData);
  // Deletes the stored value: the setting returns to its default.
  static void Reset(const UnicodeString& AName);

  // What start-up found.
  static const UnicodeString& InstallationPath() noexcept { return FInstallationPath; }
  static const UnicodeString& BaseApplicationFile() noexcept { return FBaseApplicationFile; }
  static const UnicodeString& ConfigFileName() noexcept { return FConfigFileName; }
  static const UnicodeString& CompanyName() noexcept { return FCompanyName; }
  static const UnicodeString& Name() noexcept { return FName; }
  static const UnicodeString& VersionStr() noexcept { return FVersionStr; }
  static HKEY RegistryRoot() noexcept { return FRegistryRoot; }
  static const UnicodeString& RegistryKey() noexcept { return FRegistryKey; }
  static const UnicodeString& RegistryKeySettings() noexcept { return FRegistryKeySettings; }

 protected:
  // "<installation>\Data\main.ini", else "<installation>\main.ini", else empty.
  static UnicodeString GetConfigFileName();
  // The running program's file name, or main.ini's "BaseApp" when that file exists in the
  // installation.
  static UnicodeString GetBaseApp(const Rtl::TMemIniFile* AIniFile);
  // Gives the message names of main.ini to ExtMessages.
  static void DefinedCustomMessage(const Rtl::TMemIniFile* AIniFile);
  // AName of the base application's resource (with ABaseApp), else of the running program's, else
  // "Unknown".
  static UnicodeString GetFileVersionInfoStr(bool ABaseApp, const UnicodeString& AName);
  static void SendWMSettingsChanged();
  // Deletes backslashes and "/", with AExtended also blanks, "-" and "_".
  static UnicodeString PrepareInternalName(const UnicodeString& AName, bool AExtended);
  static void OpenRegistryKey();
  static void CloseRegistryKey() noexcept;

  template <typename T>
  using TDefaults = std::map<UnicodeString, T>;

  static inline Rtl::TCriticalSection* FCSMain = nullptr;
  static inline volatile LONG FUpdateLockCount = 0;
  static inline UnicodeString FInstallationPath;
  static inline UnicodeString FBaseApplicationFile;
  static inline UnicodeString FConfigFileName;
  static inline Rtl::TMemIniFile* FConfigFile = nullptr;
  static inline TFileVersionInfo* FBaseAppVerInfo = nullptr;
  static inline TFileVersionInfo* FAppVerInfo = nullptr;
  static inline TRegistry* FRegistry = nullptr;
  static inline UnicodeString FCompanyName;
  static inline UnicodeString FName;
  static inline UnicodeString FVersionStr;
  static inline HKEY FRegistryRoot = HKEY_LOCAL_MACHINE;
  static inline UnicodeString FRegistryKey;
  static inline UnicodeString FRegistryKeySettings;
  static inline TDefaults<bool>* FDefaultBoolean = nullptr;
  static inline TDefaults<int32_t>* FDefaultInteger = nullptr;
  static inline TDefaults<int64_t>* FDefaultInt64 = nullptr;
  static inline TDefaults<double>* FDefaultDouble = nullptr;
  static inline TDefaults<UnicodeString>* FDefaultString = nullptr;

 private:
  class TKeyScope;
  template <typename T, typename TRead, typename TWrite>
  static void SetTyped(const UnicodeString& AName, const T& AData, TDefaults<T>* ADefaults, TRead ARead,
                       TWrite AWrite);
  template <typename T, typename TRead>
  static T GetTyped(const UnicodeString& AName, TDefaults<T>* ADefaults, TRead ARead);
  template <typename T>
  static void SetDefault(TDefaults<T>* ADefaults, const UnicodeString& AName, const T& ADefault);
  template <typename T>
  static T GetDefault(const TDefaults<T>* ADefaults, const UnicodeString& AName);
};

}  // namespace Ostravane
