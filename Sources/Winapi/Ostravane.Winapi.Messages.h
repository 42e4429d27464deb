// The numbers of the window messages that the programs of a product share. A shared message is
// named by a format and an identifying text: programs that share the text share the message, and a
// deployment can replace a text (main.ini) to keep its products apart from others.
//
// The fields are written at the unit's start and by the settings layer on the starting thread; any
// thread may read them afterwards.
#pragma once
#include "Ostravane.Rtl.SysUtils.h"

namespace Ostravane {

using Rtl::UnicodeString;

inline constexpr wchar_t S_WM_TASKBAR_CREATED[] = L"TaskbarCreated";
inline constexpr wchar_t S_WM_TASKBAR_BUTTON_CREATED[] = L"TaskbarButtonCreated";
inline constexpr wchar_t S_WM_UNINSTALL_CLOSE_FORMAT[] = L"WM_UNINSTALL_CLOSE-%0:s";
inline constexpr wchar_t S_WM_LANGUAGE_CHANGE_FORMAT[] = L"WM_LANGUAGE_CHANGE-%0:s";
inline constexpr wchar_t S_WM_SETTINGS_CHANGE_FORMAT[] = L"WM_SETTINGS_CHANGE-%0:s";
// The identifying texts a product uses unless its deployment names others.
inline constexpr wchar_t STR_WM_UNINSTALL_CLOSE_ID[] = L"6212C713-B56F-4634-B8EF-8885951BC7A1";
inline constexpr wchar_t STR_WM_LANGUAGE_CHANGE_ID[] = L"2B90A6E4-73FA-4F52-9FEE-4889D059C018";
inline constexpr wchar_t STR_WM_SETTINGS_CHANGE_ID[] = L"30E5C19D-743B-4B8F-898A-121DDC37656D";

class OVRTL_API ExtMessages final {
  OV_STATIC_CLASS
 public:
  ExtMessages() = delete;

  // Registers the shell's two messages and the product family's three with the built-in texts.
  // Never raises; a message the system refuses to register keeps the number 0.
  static void Init();
  // Clears the three identifying texts, so that the next Init registers the messages again.
  static void Done() noexcept;

  // Each setter: a text equal to the current one without regard to case changes nothing; another
  // text is kept and its message registered. Never raises; a name the system refuses (longer than
  // 255 characters) gives the number 0.
  static void SetWMUninstallCloseIDName(const UnicodeString& AValue);
  static void SetWMLanguageChangeIDName(const UnicodeString& AValue);
  static void SetWMSettingsChangeIDName(const UnicodeString& AValue);

  static inline UnicodeString FWMUninstallCloseIDName;
  static inline UnicodeString FWMLanguageChangeIDName;
  static inline UnicodeString FWMSettingsChangeIDName;
  static inline uint32_t FWMTaskbarCreated = 0;
  static inline uint32_t FWMTaskbarButtonCreated = 0;
  static inline uint32_t FWMUninstallClose = 0;
  static inline uint32_t FWMLanguageChange = 0;
  static inline uint32_t FWMSettingsChange = 0;
  // Registered by the product layer under the name of the program's mutex; 0 until then. Defined in
  // the unit's source: an inline field that no code of the library touches is not exported.
  static uint32_t FWMRestoreMainWindow;

 private:
  static void SetIDName(UnicodeString& AIDName, uint32_t& AMessage, const wchar_t* AFormat,
                        const UnicodeString& AValue);
};

}  // namespace Ostravane
