// TRegistry: the library's one registry class, and the key string by which every unit names a
// registry view, a root, a key and a value in one text:
//
//   [(x32)|(x64)]root\key\path\\value name
//
// The view mark and the root (long or short name) compare without regard to case; the first doubled
// backslash separates the key from the value name, which keeps any further backslashes. Written key
// strings always carry the mark, the long root name and the doubled backslash.
//
// A 32-bit module on a 64-bit Windows sees two registries: every key operation carries the view bits
// of Access (KEY_WOW64_64KEY 0x100, KEY_WOW64_32KEY 0x200) into the system.
//
// Failure contract: operations that answer a Boolean, a handle, a size or a type never raise for a
// refusal of the system; LastError and the thread's last error then hold its code, and
// GetLastErrorMsg its text. After a raise LastError holds the code (the thread's last error is set
// too, but the unwinding of the process's first exception may clear it). The typed reads and writes raise ERegistryException (a buffer too small
// for ReadBinaryData: ESmallBufferRegistryException); the ...Def reads never raise. An instance
// belongs to one thread at a time.
#pragma once
#include <vector>

#include "Ostravane.Rtl.Classes.h"
#include "Ostravane.Rtl.Registry.h"

namespace Ostravane {

using Rtl::ERegistryException;
using Rtl::TDateTime;
using Rtl::TRegKeyInfo;
using Rtl::UnicodeString;

// ReadBinaryData's buffer is smaller than the value.
OV_DECLARE_EXCEPTION(ESmallBufferRegistryException, ERegistryException)

enum TRegDataType : uint8_t {
  rdUnknown,       // REG_NONE and every code not below
  rdString,        // REG_SZ
  rdExpandString,  // REG_EXPAND_SZ
  rdMultiString,   // REG_MULTI_SZ
  rdInteger,       // REG_DWORD
  rdInt64,         // REG_QWORD
  rdBinary,        // REG_BINARY
};

struct TRegDataInfo {
  TRegDataType RegData;
  int32_t DataSize;  // bytes
};

class OVRTL_API TRegistry : public Rtl::TRegistry {
  OV_OBJECT_CLASS
 public:
  using Rtl::TRegistry::TRegistry;

  // Root names: the long name, then the short name. Defined in the unit's source, so that they are
  // exported.
  static const wchar_t* const STR_HKEY_CLASSES_ROOT[2];
  static const wchar_t* const STR_HKEY_CURRENT_USER[2];
  static const wchar_t* const STR_HKEY_LOCAL_MACHINE[2];
  static const wchar_t* const STR_HKEY_USERS[2];
  static const wchar_t* const STR_HKEY_PERFORMANCE_DATA[2];
  static const wchar_t* const STR_HKEY_CURRENT_CONFIG[2];
  static const wchar_t* const STR_HKEY_DYN_DATA[2];
  // The view marks: the 32-bit view, then the 64-bit view.
  static const wchar_t* const STR_X32X64[2];

  // ---- Key strings (no instance needed; never raise) ----

  // The long name of a root; empty for a handle that is no root.
  static UnicodeString RegistryRootToStr(HKEY ARoot);
  // The root of a long or short name; the all-ones handle 0xFFFFFFFF for any other name.
  static HKEY StrToRegistryRoot(const UnicodeString& ARoot);
  // A key string of an access mask, a root, a key path and a value name: "(x64)" when AFlag has
  // KEY_WOW64_64KEY, else "(x32)" (also for a mask without view bits).
  static UnicodeString RegistryKeyToStr(uint32_t AFlag, HKEY ARoot, const UnicodeString& AKey,
                                        const UnicodeString& AName);
  // Takes a key string apart. AFlag is written only when there is a view mark, AName only when there
  // is a doubled backslash. Without any backslash the root is HKEY_CURRENT_USER and the whole text
  // the path; otherwise the path keeps its leading backslash, and a trailing one when there was a
  // value name.
  static void ExtractKeyParams(const UnicodeString& AValue, uint32_t& AFlag, HKEY& ARoot, UnicodeString& AKey,
                               UnicodeString& AName);
  // The key string of a value of the open key, with this instance's Access and RootKey.
  UnicodeString RegistryKeyToStr(const UnicodeString& AName) const;

  // ---- Error state ----

  // Empty while LastError is 0; else the system's text of LastError, ended by a full stop.
  UnicodeString GetLastErrorMsg() const;
  bool RegistryConnect(const UnicodeString& AUNCName);

  // ---- Keys: AKey starts at the root with a leading backslash, else at the open key ----

  // Opens AKey (creating it with ACanCreate) with Access and makes it the open key. An empty AKey
  // opens the base itself, without creating anything.
  bool OpenKey(const UnicodeString& AKey, bool ACanCreate);
  // Opens AKey with the first of KEY_READ, 0x20009 and KEY_QUERY_VALUE (each with the view bits of
  // Access) that the system grants; that mask stays in Access. On failure nothing changes.
  bool OpenKeyReadOnly(const UnicodeString& AKey);
  // Creates AKey (KEY_ALL_ACCESS with the view bits of Access); the open key stays as it is.
  bool CreateKey(const UnicodeString& AKey);
  // Deletes AKey with every subkey, deepest first, in the view of Access. A subkey that can't be
  // deleted stops the deletion with false; what was deleted up to then stays deleted.
  bool DeleteKey(const UnicodeString& AKey);
  // A handle of AKey opened with Access, 0 when it can't be opened; the caller closes it.
  HKEY GetKey(const UnicodeString& AKey);
  bool KeyExists(const UnicodeString& AKey);

  // Of the open key. GetKeyNames and GetValueNames raise ERegistryException when the key can't be
  // queried; a value whose name can't be read is listed with the text the system left.
  bool GetKeyInfo(TRegKeyInfo& AValue);
  bool HasSubKeys();
  void GetKeyNames(Rtl::TStringList& AStrings);
  void GetValueNames(Rtl::TStringList& AStrings);

  // Hives. LoadKey and UnLoadKey work below RootKey itself (HKEY_LOCAL_MACHINE or HKEY_USERS), never
  // below the open key; they need SeRestorePrivilege, SaveKey SeBackupPrivilege.
  bool LoadKey(const UnicodeString& AKey, const UnicodeString& AFileName);
  bool UnLoadKey(const UnicodeString& AKey);
  bool RestoreKey(const UnicodeString& AKey, const UnicodeString& AFileName);
  bool ReplaceKey(const UnicodeString& AKey, const UnicodeString& AFileName, const UnicodeString& ABackUpFileName);
  bool SaveKey(const UnicodeString& AKey, const UnicodeString& AFileName);

  // ---- Values of the open key ----

  // 0 and rdUnknown when the value can't be queried.
  int32_t GetDataSize(const UnicodeString& AValueName);
  TRegDataType GetDataType(const UnicodeString& AValueName);
  // False when the value can't be queried; AValue's type is then not to be relied on.
  bool GetDataInfo(const UnicodeString& AValueName, TRegDataInfo& AValue);
  bool ValueExists(const UnicodeString& AName);
  bool DeleteValue(const UnicodeString& AName);
  // Binary data as upper-case hexadecimal bytes with commas ("hex:" in front with APrefixType), text
  // up to its first NUL (a multi-string shows its first string), integers in decimal or as
  // "dword:" with at least 8 hexadecimal digits (REG_QWORD too). Raises when the value can't be read.
  UnicodeString GetDataAsString(const UnicodeString& AValueName, bool APrefixType = false);

  // Raise ERegistryException for a missing value (SRegGetDataFailed; ReadInt64: SInvalidRegType) or a
  // value of another type or size (SInvalidRegType). No conversion between types.
  bool ReadBool(const UnicodeString& AName);
  int32_t ReadInteger(const UnicodeString& AName);
  int64_t ReadInt64(const UnicodeString& AName);
  double ReadFloat(const UnicodeString& AName);
  int64_t ReadCurrency(const UnicodeString& AName);  // scaled by 10,000
  TDateTime ReadDateTime(const UnicodeString& AName);
  TDateTime ReadDate(const UnicodeString& AName) { return ReadDateTime(AName); }
  TDateTime ReadTime(const UnicodeString& AName) { return ReadDateTime(AName); }
  // A missing value reads as empty; another type raises. Trimmed at both ends (the terminator,
  // blanks and control characters); NUL characters inside stay.
  UnicodeString ReadString(const UnicodeString& AName);
  // A missing value reads as empty; another type raises. The strings up to the first empty one.
  std::vector<UnicodeString> ReadMultiString(const UnicodeString& AName);
  // The byte count read. A missing value raises ERegistryException, a type other than REG_BINARY or
  // REG_NONE too, a buffer too small ESmallBufferRegistryException.
  int32_t ReadBinaryData(const UnicodeString& AName, void* ABuffer, int32_t ABufSize);

  // The default when the value is missing, has another type (or size: floats and dates have 8 bytes)
  // or can't be read. Never raise.
  int32_t ReadIntegerDef(const UnicodeString& AName, int32_t ADefault);
  bool ReadBoolDef(const UnicodeString& AName, bool ADefault);
  UnicodeString ReadStringDef(const UnicodeString& AName, const UnicodeString& ADefault);
  int64_t ReadInt64Def(const UnicodeString& AName, int64_t ADefault);
  double ReadFloatDef(const UnicodeString& AName, double ADefault);
  TDateTime ReadDateTimeDef(const UnicodeString& AName, TDateTime ADefault);

  // Raise ERegistryException (SRegSetDataFailed) when the system refuses.
  void WriteString(const UnicodeString& AName, const UnicodeString& AValue);
  void WriteExpandString(const UnicodeString& AName, const UnicodeString& AValue);
  void WriteInteger(const UnicodeString& AName, int32_t AValue);
  void WriteBool(const UnicodeString& AName, bool AValue);
  void WriteInt64(const UnicodeString& AName, int64_t AValue);
  void WriteFloat(const UnicodeString& AName, double AValue);
  void WriteCurrency(const UnicodeString& AName, int64_t AValue);  // scaled by 10,000
  void WriteDateTime(const UnicodeString& AName, TDateTime AValue);
  void WriteDate(const UnicodeString& AName, TDateTime AValue) { WriteDateTime(AName, AValue); }
  void WriteTime(const UnicodeString& AName, TDateTime AValue) { WriteDateTime(AName, AValue); }
  // Each string with its NUL, then one more NUL; an empty list is two NULs.
  void WriteMultiString(const UnicodeString& AName, const std::vector<UnicodeString>& AValue);
  void WriteBinaryData(const UnicodeString& AName, const void* ABuffer, int32_t ABufSize);

  // Raises ERegistryException when ANewName exists (ERROR_ALREADY_EXISTS, nothing changed) or the
  // old value can't be read or deleted. The old value goes before the new one is written.
  void RenameValue(const UnicodeString& AOldName, const UnicodeString& ANewName);
  // Copies the key AOldName with all its values and subkeys to ANewName, then deletes AOldName when
  // ADelete. Raises ERegistryException when ANewName exists (ERROR_ALREADY_EXISTS) or AOldName doesn't
  // (ERROR_NOT_REGISTRY_FILE), nothing changed then, or when a step fails.
  void MoveKey(const UnicodeString& AOldName, const UnicodeString& ANewName, bool ADelete);

  // The type mapping, and bytes as "AB,CD" behind a prefix (AHigh is the last index).
  static int32_t RegDataToDataType(TRegDataType AValue) noexcept;
  static TRegDataType DataTypeToRegData(int32_t AValue) noexcept;
  static UnicodeString BinaryToHexString(const uint8_t* AData, int32_t AHigh, const UnicodeString& APrefix);

 protected:
  static bool IsRelative(const UnicodeString& AKey) noexcept { return AKey.empty() || AKey[0] != L'\\'; }
  // Keeps the code as the base does, and gives a failure to the thread's last error too.
  bool CheckResult(int32_t ACode) noexcept;

  // One read into the caller's buffer: the byte count, or -1 when the buffer is too small. Raises
  // SRegGetDataFailed for any other failure.
  int32_t GetData(const UnicodeString& AName, void* ABuffer, int32_t ABufSize, TRegDataType& ARegData);
  // A value of any type and size; a non-empty AData is offered as the first buffer. False when the
  // value can't be read.
  bool GetBinaryData(const UnicodeString& AName, TRegDataType& ARegData, std::vector<uint8_t>& AData);
  void PutData(const UnicodeString& AName, const void* ABuffer, int32_t ABufSize, TRegDataType ARegData);

  void DoMoveValue(HKEY ASource, HKEY ADestination, const UnicodeString& AName);
  void DoCopyValues(HKEY ASource, HKEY ADestination);
  void DoCopyKeys(HKEY ASource, HKEY ADestination);

 private:
  class TKeySwap;
  LONG QueryValue(const UnicodeString& AName, DWORD& AType, void* ABuffer, DWORD& ASize);
  [[noreturn]] void RaiseFailure(const wchar_t* AFormat, const UnicodeString& AName, bool ASmallBuffer = false) const;
  [[noreturn]] static void RaiseInvalidType(const UnicodeString& AName);
  template <typename T>
  T ReadExact(const UnicodeString& AName, TRegDataType ARegData);
  template <typename T, typename TRead>
  T ReadDef(const UnicodeString& AName, T ADefault, TRegDataType AType, bool AExact8, TRead ARead);
};

}  // namespace Ostravane
