// TRegistry's values against the real registry: each type round-trips in its stored form, the three
// failure roads of the reads, the ...Def reads without conversion, text trimming, the text form of
// values, rename of values, copy and move of whole keys, and the system's own reg.exe reading what
// the library wrote, in both views.
#include "RegistryTestSupport.h"

#include <algorithm>
#include <climits>
#include <functional>
#include <tuple>

using namespace Ostravane;
using namespace OvTest;

namespace {

// A key of the test's own below HKCU, open in FReg.
class RegistryValueTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(FReg.OpenKey(L"\\" + FPath, false)); }

  TRawValue Raw(const std::wstring& AName) { return RawRead(HKEY_CURRENT_USER, FPath, AName); }
  void Put(const std::wstring& AName, DWORD AType, const Bytes& AData) { RawWrite(HKEY_CURRENT_USER, FPath, AName, AType, AData); }

  TTempRegKey FTemp;
  const std::wstring FPath = FTemp.Path();
  TRegistry FReg;
};

void ExpectStored(const TRawValue& AValue, DWORD AType, const Bytes& AData) {
  EXPECT_EQ(AValue.Code, ERROR_SUCCESS);
  EXPECT_EQ(AValue.Type, AType);
  EXPECT_EQ(AValue.Data, AData);
}

TEST_F(RegistryValueTest, EachTypeRoundTripsInItsStoredForm) {
  const std::wstring LText = L"日本語のテキスト, Příliš žluťoučký kůň ✓";
  FReg.WriteString(L"Str", LText);
  ExpectStored(Raw(L"Str"), REG_SZ, TextBytes(LText));
  EXPECT_EQ(FReg.ReadString(L"Str"), LText);

  FReg.WriteExpandString(L"Exp", L"%SystemRoot%\\日本");
  ExpectStored(Raw(L"Exp"), REG_EXPAND_SZ, TextBytes(L"%SystemRoot%\\日本"));
  EXPECT_EQ(FReg.ReadString(L"Exp"), L"%SystemRoot%\\日本") << "read as stored, not expanded";

  FReg.WriteMultiString(L"Multi", {L"one", L"日本語", L"three"});
  ExpectStored(Raw(L"Multi"), REG_MULTI_SZ, TextBytes(std::wstring(L"one\0日本語\0three\0", 14)));
  EXPECT_EQ(FReg.ReadMultiString(L"Multi"), (std::vector<UnicodeString>{L"one", L"日本語", L"three"}));
  FReg.WriteMultiString(L"MultiEmpty", {});
  ExpectStored(Raw(L"MultiEmpty"), REG_MULTI_SZ, Bytes(4, 0));
  EXPECT_TRUE(FReg.ReadMultiString(L"MultiEmpty").empty());
  // An empty entry ends the list on reading: the result has no empty entries.
  FReg.WriteMultiString(L"MultiHole", {L"a", L"", L"b"});
  ExpectStored(Raw(L"MultiHole"), REG_MULTI_SZ, TextBytes(std::wstring(L"a\0\0b\0", 5)));
  EXPECT_EQ(FReg.ReadMultiString(L"MultiHole"), (std::vector<UnicodeString>{L"a"}));
  // Data without its closing NULs still reads.
  Put(L"MultiOpen", REG_MULTI_SZ, TextBytes(std::wstring(L"x\0yz", 4), false));
  EXPECT_EQ(FReg.ReadMultiString(L"MultiOpen"), (std::vector<UnicodeString>{L"x", L"yz"}));

  FReg.WriteInteger(L"Int", INT32_MIN);
  ExpectStored(Raw(L"Int"), REG_DWORD, ValueBytes<int32_t>(INT32_MIN));
  EXPECT_EQ(FReg.ReadInteger(L"Int"), INT32_MIN);
  FReg.WriteBool(L"True", true);
  FReg.WriteBool(L"False", false);
  ExpectStored(Raw(L"True"), REG_DWORD, ValueBytes<int32_t>(1));
  ExpectStored(Raw(L"False"), REG_DWORD, ValueBytes<int32_t>(0));
  EXPECT_TRUE(FReg.ReadBool(L"True"));
  EXPECT_FALSE(FReg.ReadBool(L"False"));
  Put(L"Seven", REG_DWORD, ValueBytes<int32_t>(7));
  EXPECT_TRUE(FReg.ReadBool(L"Seven"));

  FReg.WriteInt64(L"I64", INT64_MIN + 1);
  ExpectStored(Raw(L"I64"), REG_QWORD, ValueBytes<int64_t>(INT64_MIN + 1));
  EXPECT_EQ(FReg.ReadInt64(L"I64"), INT64_MIN + 1);

  // Floats, currency and dates: the 8 raw bytes as REG_BINARY.
  for (const double LValue : {3.141592653589793, -0.0, 1e-310, 1.7976931348623157e308}) {
    FReg.WriteFloat(L"Float", LValue);
    ExpectStored(Raw(L"Float"), REG_BINARY, ValueBytes(LValue));
    const double LRead = FReg.ReadFloat(L"Float");
    EXPECT_EQ(ValueBytes(LRead), ValueBytes(LValue));
  }
  FReg.WriteCurrency(L"Cur", -1234567890123);
  ExpectStored(Raw(L"Cur"), REG_BINARY, ValueBytes<int64_t>(-1234567890123));
  EXPECT_EQ(FReg.ReadCurrency(L"Cur"), -1234567890123);
  const TDateTime LWhen = Rtl::EncodeDateTime(2024, 2, 29, 23, 59, 58, 999);
  FReg.WriteDateTime(L"When", LWhen);
  ExpectStored(Raw(L"When"), REG_BINARY, ValueBytes(LWhen));
  EXPECT_EQ(FReg.ReadDateTime(L"When"), LWhen);
  FReg.WriteDate(L"Date", 45000.0);
  FReg.WriteTime(L"Time", 0.75);
  EXPECT_EQ(FReg.ReadDate(L"Date"), 45000.0);
  EXPECT_EQ(FReg.ReadTime(L"Time"), 0.75);

  // Binary data of no bytes and of 1 MiB.
  FReg.WriteBinaryData(L"Bin0", nullptr, 0);
  ExpectStored(Raw(L"Bin0"), REG_BINARY, {});
  uint8_t LSmall[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  EXPECT_EQ(FReg.ReadBinaryData(L"Bin0", LSmall, 4), 0);
  EXPECT_TRUE(FReg.ValueExists(L"Bin0"));
  Bytes LBig(1 << 20);
  for (size_t I = 0; I < LBig.size(); ++I) LBig[I] = static_cast<uint8_t>(I * 7 + I / 251);
  FReg.WriteBinaryData(L"Bin1M", LBig.data(), static_cast<int32_t>(LBig.size()));
  ExpectStored(Raw(L"Bin1M"), REG_BINARY, LBig);
  Bytes LRead(LBig.size() + 16, 0);
  EXPECT_EQ(FReg.ReadBinaryData(L"Bin1M", LRead.data(), static_cast<int32_t>(LRead.size())), 1 << 20);
  LRead.resize(LBig.size());
  EXPECT_EQ(LRead, LBig);
  EXPECT_EQ(FReg.GetDataAsString(L"Bin1M").size(), 3u * (1 << 20) - 1);

  // What the information queries say of each.
  const struct {
    const wchar_t* Name;
    TRegDataType Type;
    int32_t Size;
  } LInfos[] = {
      {L"Str", rdString, static_cast<int32_t>((LText.size() + 1) * 2)}, {L"Exp", rdExpandString, 32},
      {L"Multi", rdMultiString, 30}, {L"MultiEmpty", rdMultiString, 4}, {L"Int", rdInteger, 4},
      {L"I64", rdInt64, 8}, {L"Float", rdBinary, 8}, {L"Bin0", rdBinary, 0}, {L"Bin1M", rdBinary, 1 << 20},
  };
  for (const auto& I : LInfos) {
    TRegDataInfo LInfo{rdBinary, -5};
    EXPECT_TRUE(FReg.GetDataInfo(I.Name, LInfo)) << I.Name;
    EXPECT_EQ(LInfo.RegData, I.Type) << I.Name;
    EXPECT_EQ(LInfo.DataSize, I.Size) << I.Name;
    EXPECT_EQ(FReg.GetDataType(I.Name), I.Type) << I.Name;
    EXPECT_EQ(FReg.GetDataSize(I.Name), I.Size) << I.Name;
  }
  // Codes outside the mapping read as rdUnknown; rdUnknown writes REG_NONE.
  Put(L"Resource", REG_RESOURCE_LIST, {1, 2, 3});
  EXPECT_EQ(FReg.GetDataType(L"Resource"), rdUnknown);
  EXPECT_EQ(TRegistry::RegDataToDataType(rdUnknown), REG_NONE);
  for (const auto& [LType, LCode] : {std::pair{rdString, REG_SZ}, {rdExpandString, REG_EXPAND_SZ}, {rdMultiString, REG_MULTI_SZ},
                                     {rdInteger, REG_DWORD}, {rdInt64, REG_QWORD}, {rdBinary, REG_BINARY}}) {
    EXPECT_EQ(TRegistry::RegDataToDataType(LType), static_cast<int32_t>(LCode));
    EXPECT_EQ(TRegistry::DataTypeToRegData(LCode), LType);
  }
  for (const int32_t LCode : {0, 5, 6, 8, 9, 10, 12, -1}) EXPECT_EQ(TRegistry::DataTypeToRegData(LCode), rdUnknown) << LCode;

  EXPECT_TRUE(FReg.DeleteValue(L"Str"));
  EXPECT_FALSE(FReg.ValueExists(L"Str"));
  EXPECT_FALSE(FReg.DeleteValue(L"Str"));
  EXPECT_EQ(FReg.LastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryValueTest, TheThreeFailureRoadsOfTheReads) {
  const std::wstring LNotFound = L" System Error. Code: 2. File not found.";
  FReg.WriteString(L"Str", L"text");
  FReg.WriteInteger(L"Int", 1);
  FReg.WriteInt64(L"I64", 1);
  FReg.WriteBinaryData(L"Bin4", "abcd", 4);
  FReg.WriteBinaryData(L"Bin8", "abcdefgh", 8);

  // A missing value.
  for (const auto& LRead : std::vector<std::function<void()>>{[&] { FReg.ReadInteger(L"Missing"); },
                                                              [&] { FReg.ReadBool(L"Missing"); },
                                                              [&] { FReg.ReadFloat(L"Missing"); },
                                                              [&] { FReg.ReadCurrency(L"Missing"); },
                                                              [&] { FReg.ReadDateTime(L"Missing"); },
                                                              [&] { FReg.GetDataAsString(L"Missing"); }}) {
    EXPECT_EQ(Raised(LRead), L"ERegistryException: Failed to get data for 'Missing'" + LNotFound);
    EXPECT_EQ(FReg.LastError(), ERROR_FILE_NOT_FOUND);
  }
  uint8_t LBuffer[16];
  EXPECT_EQ(Raised([&] { FReg.ReadBinaryData(L"Missing", LBuffer, 16); }),
            L"ERegistryException: Failed to get data for 'Missing'" + LNotFound);
  EXPECT_EQ(Raised([&] { FReg.ReadInt64(L"Missing"); }), L"ERegistryException: Invalid data type for 'Missing'");
  EXPECT_EQ(FReg.ReadString(L"Missing"), L"");
  EXPECT_TRUE(FReg.ReadMultiString(L"Missing").empty());
  EXPECT_EQ(FReg.GetDataSize(L"Missing"), 0);
  EXPECT_EQ(FReg.GetDataType(L"Missing"), rdUnknown);
  TRegDataInfo LInfo{rdBinary, 5};
  EXPECT_FALSE(FReg.GetDataInfo(L"Missing", LInfo));
  EXPECT_EQ(LInfo.DataSize, 0);

  // A value of another type or size: the name alone, no system text.
  const struct {
    std::function<void()> Read;
    const wchar_t* Name;
  } LWrongType[] = {
      {[&] { FReg.ReadInteger(L"Str"); }, L"Str"},       {[&] { FReg.ReadInteger(L"I64"); }, L"I64"},
      {[&] { FReg.ReadInteger(L"Bin4"); }, L"Bin4"},     {[&] { FReg.ReadBool(L"Str"); }, L"Str"},
      {[&] { FReg.ReadInt64(L"Int"); }, L"Int"},         {[&] { FReg.ReadInt64(L"Bin8"); }, L"Bin8"},
      {[&] { FReg.ReadFloat(L"Bin4"); }, L"Bin4"},       {[&] { FReg.ReadFloat(L"I64"); }, L"I64"},
      {[&] { FReg.ReadDateTime(L"Str"); }, L"Str"},      {[&] { FReg.ReadCurrency(L"Int"); }, L"Int"},
      {[&] { FReg.ReadString(L"Int"); }, L"Int"},        {[&] { FReg.ReadString(L"Bin8"); }, L"Bin8"},
      {[&] { FReg.ReadMultiString(L"Str"); }, L"Str"},   {[&] { FReg.ReadBinaryData(L"Str", LBuffer, 16); }, L"Str"},
      {[&] { FReg.ReadBinaryData(L"Int", LBuffer, 16); }, L"Int"},
  };
  for (const auto& W : LWrongType)
    EXPECT_EQ(Raised(W.Read), L"ERegistryException: Invalid data type for '" + std::wstring(W.Name) + L"'");

  // A buffer too small: its own class, which is still an ERegistryException.
  try {
    FReg.ReadBinaryData(L"Bin8", LBuffer, 7);
    ADD_FAILURE() << "no exception";
  } catch (const ERegistryException& E) {
    EXPECT_EQ(E.ClassName(), L"ESmallBufferRegistryException");
    EXPECT_TRUE(E.InheritsFrom(ERegistryException::StaticClass()));
    EXPECT_EQ(E.Message, L"Failed to get data for 'Bin8' System Error. Code: 234. " + Rtl::SysErrorMessage(234) + L".");
  }
  EXPECT_EQ(FReg.LastError(), ERROR_MORE_DATA);
  EXPECT_EQ(FReg.ReadBinaryData(L"Bin8", LBuffer, 8), 8);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(LBuffer), 8), "abcdefgh");
  EXPECT_EQ(FReg.LastError(), 0);
}

TEST_F(RegistryValueTest, DefReadsGiveTheDefaultWithoutConversion) {
  Put(L"Digits", REG_SZ, TextBytes(L"42"));
  Put(L"Bin4", REG_BINARY, ValueBytes<int32_t>(42));
  Put(L"Bin9", REG_BINARY, Bytes(9, 1));
  Put(L"Int", REG_DWORD, ValueBytes<int32_t>(5));
  Put(L"Zero", REG_DWORD, ValueBytes<int32_t>(0));
  Put(L"Short", REG_DWORD, Bytes{1, 2});
  Put(L"I64", REG_QWORD, ValueBytes<int64_t>(1LL << 40));
  Put(L"Float", REG_BINARY, ValueBytes(2.25));
  Put(L"Exp", REG_EXPAND_SZ, TextBytes(L"%TEMP%"));
  Put(L"Str", REG_SZ, TextBytes(L" text "));

  EXPECT_EQ(FReg.ReadIntegerDef(L"Int", -1), 5);
  for (const wchar_t* LName : {L"Digits", L"Bin4", L"I64", L"Missing", L"Short"})
    EXPECT_EQ(FReg.ReadIntegerDef(LName, -1), -1) << LName;
  EXPECT_TRUE(FReg.ReadBoolDef(L"Int", false));
  EXPECT_FALSE(FReg.ReadBoolDef(L"Zero", true));
  for (const wchar_t* LName : {L"Digits", L"Bin4", L"Missing"}) EXPECT_TRUE(FReg.ReadBoolDef(LName, true)) << LName;
  EXPECT_EQ(FReg.ReadStringDef(L"Str", L"d"), L"text");
  EXPECT_EQ(FReg.ReadStringDef(L"Exp", L"d"), L"%TEMP%");
  for (const wchar_t* LName : {L"Int", L"Bin4", L"Missing"}) EXPECT_EQ(FReg.ReadStringDef(LName, L"d"), L"d") << LName;
  EXPECT_EQ(FReg.ReadInt64Def(L"I64", 0), 1LL << 40);
  for (const wchar_t* LName : {L"Int", L"Float", L"Digits", L"Missing"}) EXPECT_EQ(FReg.ReadInt64Def(LName, 7), 7) << LName;
  EXPECT_EQ(FReg.ReadFloatDef(L"Float", 0), 2.25);
  for (const wchar_t* LName : {L"Bin4", L"Bin9", L"I64", L"Str", L"Missing"}) EXPECT_EQ(FReg.ReadFloatDef(LName, 0.5), 0.5) << LName;
  EXPECT_EQ(FReg.ReadDateTimeDef(L"Float", 0), 2.25);
  for (const wchar_t* LName : {L"Bin4", L"Bin9", L"I64", L"Missing"}) EXPECT_EQ(FReg.ReadDateTimeDef(LName, 9.5), 9.5) << LName;
  // None of them raised; the last query's code is still there.
  EXPECT_EQ(FReg.LastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryValueTest, ReadStringTrimsTheEndsAndKeepsWhatIsInside) {
  FReg.WriteString(L"Padded", L"  \t text with  inner  \r\n ");
  EXPECT_EQ(FReg.ReadString(L"Padded"), L"text with  inner");
  Put(L"NoTerminator", REG_SZ, TextBytes(L"abc", false));
  EXPECT_EQ(FReg.ReadString(L"NoTerminator"), L"abc");
  Bytes LOdd = TextBytes(L"abc", false);
  LOdd.push_back('d');
  Put(L"Odd", REG_SZ, LOdd);
  EXPECT_EQ(FReg.ReadString(L"Odd"), L"abc");
  Put(L"Inner", REG_SZ, TextBytes(std::wstring(L"a\0b", 3)));
  EXPECT_EQ(FReg.ReadString(L"Inner"), std::wstring(L"a\0b", 3));
  Put(L"NoBytes", REG_SZ, {});
  EXPECT_EQ(FReg.ReadString(L"NoBytes"), L"");
  FReg.WriteString(L"Empty", L"");
  ExpectStored(Raw(L"Empty"), REG_SZ, Bytes{0, 0});
  EXPECT_EQ(FReg.ReadString(L"Empty"), L"");
  // Longer than the first buffer the read offers: read again at the reported size.
  std::wstring LLong;
  for (int I = 0; I < 3000; ++I) LLong += static_cast<wchar_t>(0x4E00 + I);
  FReg.WriteString(L"Long", LLong);
  EXPECT_EQ(FReg.ReadString(L"Long"), LLong);
  FReg.WriteMultiString(L"LongMulti", {LLong, L"x", LLong});
  EXPECT_EQ(FReg.ReadMultiString(L"LongMulti"), (std::vector<UnicodeString>{LLong, L"x", LLong}));
}

TEST_F(RegistryValueTest, ValuesShownAsText) {
  EXPECT_EQ(TRegistry::BinaryToHexString(reinterpret_cast<const uint8_t*>("\x01\xAB"), 1, L"hex:"), L"hex:01,AB");
  EXPECT_EQ(TRegistry::BinaryToHexString(nullptr, -1, L"hex:"), L"hex:");
  EXPECT_EQ(TRegistry::BinaryToHexString(reinterpret_cast<const uint8_t*>("\x00\xff\x10"), 2, L""), L"00,FF,10");

  Put(L"Dword", REG_DWORD, ValueBytes<int32_t>(255));
  Put(L"Negative", REG_DWORD, ValueBytes<int32_t>(-1));
  Put(L"Qword", REG_QWORD, ValueBytes<int64_t>(0x1122334455LL));
  Put(L"SmallQ", REG_QWORD, ValueBytes<int64_t>(5));
  Put(L"NegQ", REG_QWORD, ValueBytes<int64_t>(-2));
  Put(L"ShortDword", REG_DWORD, Bytes{0x34, 0x12});
  Put(L"ShortQword", REG_QWORD, Bytes{1, 2, 3});
  Put(L"NoDword", REG_DWORD, {});
  Put(L"Bin", REG_BINARY, Bytes{0x01, 0xAB});
  Put(L"NoBin", REG_BINARY, {});
  Put(L"None", REG_NONE, Bytes{0xFF});
  Put(L"Resource", REG_RESOURCE_LIST, Bytes{0, 0x10});
  Put(L"Str", REG_SZ, TextBytes(std::wstring(L"日本\0tail", 7)));
  Put(L"Exp", REG_EXPAND_SZ, TextBytes(L"%PATH%"));
  Put(L"Multi", REG_MULTI_SZ, TextBytes(std::wstring(L"first\0second\0", 13)));
  Put(L"NoText", REG_SZ, {});
  const struct {
    const wchar_t* Name;
    const wchar_t* Plain;
    const wchar_t* Prefixed;
  } LCases[] = {
      {L"Dword", L"255", L"dword:000000FF"},
      {L"Negative", L"-1", L"dword:FFFFFFFF"},
      {L"Qword", L"73588229205", L"dword:1122334455"},
      {L"SmallQ", L"5", L"dword:00000005"},
      {L"NegQ", L"-2", L"dword:FFFFFFFFFFFFFFFE"},
      {L"ShortDword", L"4660", L"dword:00001234"},
      {L"ShortQword", L"197121", L"dword:00030201"},
      {L"NoDword", L"0", L"dword:00000000"},
      {L"Bin", L"01,AB", L"hex:01,AB"},
      {L"NoBin", L"", L"hex:"},
      {L"None", L"FF", L"hex:FF"},
      {L"Resource", L"00,10", L"hex:00,10"},
      {L"Str", L"日本", L"日本"},
      {L"Exp", L"%PATH%", L"%PATH%"},
      {L"Multi", L"first", L"first"},
      {L"NoText", L"", L""},
  };
  for (const auto& C : LCases) {
    EXPECT_EQ(FReg.GetDataAsString(C.Name), C.Plain) << C.Name;
    EXPECT_EQ(FReg.GetDataAsString(C.Name, true), C.Prefixed) << C.Name;
  }
}

TEST_F(RegistryValueTest, RenameValueKeepsTypeAndDataAndRefusesAnExistingName) {
  FReg.WriteMultiString(L"Old", {L"日本", L"x"});
  FReg.RenameValue(L"Old", L"新しい");
  EXPECT_FALSE(FReg.ValueExists(L"Old"));
  ExpectStored(Raw(L"新しい"), REG_MULTI_SZ, TextBytes(std::wstring(L"日本\0x\0", 5)));
  Put(L"Resource", REG_RESOURCE_LIST, Bytes{9, 8, 7});
  FReg.RenameValue(L"Resource", L"Moved");
  ExpectStored(Raw(L"Moved"), REG_NONE, Bytes{9, 8, 7});  // a type outside the mapping arrives as REG_NONE

  FReg.WriteInteger(L"A", 1);
  FReg.WriteString(L"B", L"b");
  EXPECT_EQ(Raised([&] { FReg.RenameValue(L"A", L"B"); }),
            L"ERegistryException: Failed to set data for 'A' System Error. Code: 183. " + Rtl::SysErrorMessage(183) + L".");
  EXPECT_EQ(FReg.LastError(), ERROR_ALREADY_EXISTS);
  ExpectStored(Raw(L"A"), REG_DWORD, ValueBytes<int32_t>(1));
  ExpectStored(Raw(L"B"), REG_SZ, TextBytes(L"b"));
  EXPECT_EQ(Raised([&] { FReg.RenameValue(L"Missing", L"C"); }),
            L"ERegistryException: Failed to set data for 'Missing' System Error. Code: 2. File not found.");
  EXPECT_FALSE(FReg.ValueExists(L"C"));
  // The default value has the empty name.
  FReg.WriteString(L"", L"default");
  FReg.RenameValue(L"", L"WasDefault");
  EXPECT_FALSE(FReg.ValueExists(L""));
  EXPECT_EQ(FReg.ReadString(L"WasDefault"), L"default");
}

TEST_F(RegistryValueTest, MoveKeyCopiesWholeSubtreesAndRefusesAnExistingTarget) {
  const std::wstring LSrc = FPath + L"\\Src";
  Put(L"Top", REG_DWORD, ValueBytes<int32_t>(1));
  RawWrite(HKEY_CURRENT_USER, LSrc, L"", REG_SZ, TextBytes(L"default of Src"));
  RawWrite(HKEY_CURRENT_USER, LSrc, L"Str", REG_SZ, TextBytes(L"日本語"));
  RawWrite(HKEY_CURRENT_USER, LSrc, L"Exp", REG_EXPAND_SZ, TextBytes(L"%TEMP%"));
  RawWrite(HKEY_CURRENT_USER, LSrc, L"Multi", REG_MULTI_SZ, TextBytes(std::wstring(L"a\0b\0", 4)));
  RawWrite(HKEY_CURRENT_USER, LSrc, L"I64", REG_QWORD, ValueBytes<int64_t>(-9));
  RawWrite(HKEY_CURRENT_USER, LSrc, L"Bin", REG_BINARY, Bytes(3000, 0x5A));
  RawWrite(HKEY_CURRENT_USER, LSrc, L"NoBytes", REG_BINARY, {});
  RawWrite(HKEY_CURRENT_USER, LSrc + L"\\L1", L"", REG_SZ, TextBytes(L"default of L1"));
  RawWrite(HKEY_CURRENT_USER, LSrc + L"\\L1\\L2\\L3", L"", REG_DWORD, ValueBytes<int32_t>(3));
  RawWrite(HKEY_CURRENT_USER, LSrc + L"\\L1\\L2\\L3", L"値", REG_SZ, TextBytes(L"deep"));
  RawWrite(HKEY_CURRENT_USER, LSrc + L"\\L1\\日本", L"x", REG_DWORD, ValueBytes<int32_t>(2));
  HKEY LEmpty = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, (LSrc + L"\\Empty").c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &LEmpty, nullptr), 0);
  RegCloseKey(LEmpty);
  const TTreeDump LSource = DumpTree(HKEY_CURRENT_USER, LSrc);
  ASSERT_EQ(LSource.size(), 16u);

  const HKEY LOpen = FReg.CurrentKey();
  FReg.MoveKey(L"Src", L"Copy", false);
  EXPECT_EQ(DumpTree(HKEY_CURRENT_USER, FPath + L"\\Copy"), LSource);
  EXPECT_EQ(DumpTree(HKEY_CURRENT_USER, LSrc), LSource) << "a copy changed its source";
  EXPECT_EQ(FReg.CurrentKey(), LOpen);
  EXPECT_EQ(FReg.CurrentPath(), FPath);

  // Absolute names, and with ADelete the source goes.
  FReg.MoveKey(L"\\" + FPath + L"\\Copy", L"\\" + FPath + L"\\Moved\\Deeper", true);
  EXPECT_FALSE(RawKeyExists(HKEY_CURRENT_USER, FPath + L"\\Copy"));
  EXPECT_EQ(DumpTree(HKEY_CURRENT_USER, FPath + L"\\Moved\\Deeper"), LSource);

  // Onto an existing key, or from a missing one: raised, nothing changed.
  const TTreeDump LBefore = DumpTree(HKEY_CURRENT_USER, FPath);
  EXPECT_EQ(Raised([&] { FReg.MoveKey(L"Src", L"Moved", true); }),
            L"ERegistryException: Failed to set data for 'Moved' System Error. Code: 183. " + Rtl::SysErrorMessage(183) + L".");
  EXPECT_EQ(FReg.LastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(Raised([&] { FReg.MoveKey(L"Missing", L"Other", true); }),
            L"ERegistryException: Failed to set data for 'Missing' System Error. Code: 1017. " + Rtl::SysErrorMessage(1017) +
                L".");
  EXPECT_EQ(FReg.LastError(), ERROR_NOT_REGISTRY_FILE);
  EXPECT_EQ(DumpTree(HKEY_CURRENT_USER, FPath), LBefore);

  // A value of a type outside the mapping reaches the copy as REG_NONE.
  RawWrite(HKEY_CURRENT_USER, LSrc, L"Resource", REG_RESOURCE_LIST, Bytes{4, 5});
  FReg.MoveKey(L"Src", L"WithResource", false);
  ExpectStored(RawRead(HKEY_CURRENT_USER, FPath + L"\\WithResource", L"Resource"), REG_NONE, Bytes{4, 5});
}

// ---- The system's reg.exe reads what the library wrote -------------------------------------------

std::wstring Hex(const Bytes& AData) {
  std::wstring L;
  for (size_t I = 0; I < AData.size(); ++I) {
    wchar_t LByte[4];
    swprintf(LByte, 4, L"%02x", AData[I]);
    L += (I ? L"," : L"") + std::wstring(LByte);
  }
  return L;
}

// The lines of a .reg file that reg.exe exported, with continued lines joined.
std::vector<std::wstring> ExportLines(const std::wstring& AKey, const wchar_t* AView, const std::wstring& AFile) {
  wchar_t LSystem[MAX_PATH];
  GetSystemDirectoryW(LSystem, MAX_PATH);
  DeleteFileW(AFile.c_str());
  const TChildResult LRun =
      RunChild(std::wstring(LSystem) + L"\\reg.exe", L"export \"" + AKey + L"\" \"" + AFile + L"\" /y " + AView);
  EXPECT_EQ(LRun.ExitCode, 0u) << "reg export " << Rtl::UTF8Encode(AKey);
  std::vector<std::wstring> LLines;
  if (LRun.ExitCode != 0) return LLines;
  for (std::wstring S : SplitLines(ReadUtf16File(AFile))) {
    if (!LLines.empty() && !LLines.back().empty() && LLines.back().back() == L'\\' && LLines.back().find(L'=') != std::wstring::npos &&
        S.rfind(L"  ", 0) == 0) {
      LLines.back().pop_back();
      LLines.back() += S.substr(2);
    } else {
      LLines.push_back(S);
    }
  }
  return LLines;
}

DWORD RegQuery(const std::wstring& AKey, const std::wstring& AName, const wchar_t* AView) {
  wchar_t LSystem[MAX_PATH];
  GetSystemDirectoryW(LSystem, MAX_PATH);
  return RunChild(std::wstring(LSystem) + L"\\reg.exe", L"query \"" + AKey + L"\" /v \"" + AName + L"\" " + AView).ExitCode;
}

TEST(RegistryRegExeTest, RegExeReadsWhatTheLibraryWroteInEachView) {
  const std::wstring LName = TTempRegKey::UniqueName();
  TTempRegKey L32(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, LName), L64(HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, LName);
  TTempDir LDir;
  const std::wstring LKey = L"HKLM\\" + L32.Path();
  const std::wstring LMulti(L"one\0日本語\0", 8);
  for (const auto& [LView, LTag, LSwitch] : {std::tuple{KEY_WOW64_32KEY, L"32", L"/reg:32"}, std::tuple{KEY_WOW64_64KEY, L"64", L"/reg:64"}}) {
    TRegistry R(KEY_ALL_ACCESS | LView);
    R.SetRootKey(HKEY_LOCAL_MACHINE);
    ASSERT_TRUE(R.OpenKey(L"\\" + L32.Path(), false));
    R.WriteString(L"", L"default " + std::wstring(LTag));
    R.WriteString(L"Str", L"日本語 \"q\" \\ " + std::wstring(LTag));
    R.WriteExpandString(L"Exp", L"%SystemRoot%\\ř");
    R.WriteMultiString(L"Multi", {L"one", L"日本語"});
    R.WriteInteger(L"Dword", 255);
    R.WriteBool(L"Bool", true);
    R.WriteInt64(L"Qword", 0x1122334455LL);
    R.WriteFloat(L"Float", 1.5);
    R.WriteBinaryData(L"Bin", "\x01\xAB", 2);
    R.WriteBinaryData(L"Empty", nullptr, 0);
    R.WriteInteger(L"Only" + std::wstring(LTag), 1);
  }
  for (const auto& [LTag, LOther, LSwitch] : {std::tuple{L"32", L"64", L"/reg:32"}, std::tuple{L"64", L"32", L"/reg:64"}}) {
    const std::vector<std::wstring> LLines = ExportLines(LKey, LSwitch, LDir.Path() + L"export" + LTag + L".reg");
    auto Has = [&](const std::wstring& ALine) { return std::find(LLines.begin(), LLines.end(), ALine) != LLines.end(); };
    ASSERT_FALSE(LLines.empty());
    EXPECT_EQ(LLines[0], L"Windows Registry Editor Version 5.00");
    const std::wstring LTagText = LTag;
    for (const std::wstring& LLine : {
             L"@=\"default " + LTagText + L"\"",
             L"\"Str\"=\"日本語 \\\"q\\\" \\\\ " + LTagText + L"\"",
             L"\"Exp\"=hex(2):" + Hex(TextBytes(L"%SystemRoot%\\ř")),
             L"\"Multi\"=hex(7):" + Hex(TextBytes(LMulti)),
             std::wstring(L"\"Dword\"=dword:000000ff"),
             std::wstring(L"\"Bool\"=dword:00000001"),
             std::wstring(L"\"Qword\"=hex(b):55,44,33,22,11,00,00,00"),
             std::wstring(L"\"Float\"=hex:00,00,00,00,00,00,f8,3f"),
             std::wstring(L"\"Bin\"=hex:01,ab"),
             std::wstring(L"\"Empty\"=hex:"),
             L"\"Only" + LTagText + L"\"=dword:00000001",
         })
      EXPECT_TRUE(Has(LLine)) << "reg export " << Rtl::UTF8Encode(LSwitch) << " lacks " << Rtl::UTF8Encode(LLine);
    EXPECT_FALSE(Has(L"\"Only" + std::wstring(LOther) + L"\"=dword:00000001")) << "the other view's value";
    EXPECT_EQ(RegQuery(LKey, L"Only" + std::wstring(LTag), LSwitch), 0u);
    EXPECT_EQ(RegQuery(LKey, L"Only" + std::wstring(LOther), LSwitch), 1u);
  }
}

}  // namespace
