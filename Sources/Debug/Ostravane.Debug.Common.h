// The vocabulary of the log: column formats, buffer size and the fixed texts of log lines.
// The constants are compile-time values, there from the library's start; the unit has no start or
// stop work of its own.
#pragma once
#include "Ostravane.Rtl.System.h"

namespace Ostravane {

inline constexpr wchar_t S_DATA_TIME_FORMAT[] = L"dd.mm.yyyy hh:mm:ss.zzz ";  // 24 characters
inline constexpr wchar_t C_UNICODE_CHAR = 0xFEFF;  // the byte order mark, FF FE in the file
inline constexpr int32_t I_BUFFER_SIZE = 0x10000;  // bytes gathered before a flush
inline constexpr wchar_t S_SPACE = L' ';
inline constexpr wchar_t S_PARAM_DELIM[] = L", ";
inline constexpr wchar_t S_UNKNOWN[] = L"unknown";
inline constexpr wchar_t S_NIL_CLASS[] = L"nil class";
inline constexpr wchar_t S_CLASS[] = L"class ";
inline constexpr wchar_t S_NIL_OBJECT[] = L"nil object";
inline constexpr wchar_t S_OBJECT[] = L"object ";
inline constexpr wchar_t S_START_LOG_PROCESS[] = L"LogProcessList";
inline constexpr wchar_t S_BEGIN_PROC[] = L"*** %s        ***";  // eight blanks after the name
inline constexpr wchar_t S_PARAMS[] = L"Params";
inline constexpr wchar_t S_END_METHOD[] = L"DONE: %s(): %s";
inline constexpr wchar_t S_END_PROC[] = L"DONE: %s";
inline constexpr wchar_t S_ERROR[] = L"%s: (0x%s) %s";
inline constexpr wchar_t S_EXCEPTION[] = L"%s: %s. %s";
inline constexpr wchar_t S_VALUE_STR[] = L"%s: %s";
inline constexpr wchar_t S_VALUE_CARDINAL[] = L"%s: %u";
inline constexpr wchar_t S_VALUE_INTEGER[] = L"%s: %d";
inline constexpr wchar_t S_INTERFACE[] = L"interface $%.8x";
inline constexpr const wchar_t* BOOL_TO_STR[2] = {L"False", L"True"};
inline constexpr const wchar_t* BOOL_TO_STATUS[2] = {L"Failure", L"OK"};

}  // namespace Ostravane
