// Twofish: the authors' published known-answer tables for the three key sizes, the key
// lengths and their failure, every block mode against its definition built here from the ECB
// primitive, the chaining state, the stream form's lengths and failures, and Burn.
#include <gtest/gtest.h>

#include <random>

#include "HashTestSupport.h"
#include "Ostravane.Rtl.Classes.h"
#include "Ostravane.Rtl.SysUtils.h"
#include "Ostravane.Utils.Crypt.Twofish.h"
#include "OvComponentsRTL.h"

using namespace Ostravane;
using OvTest::FromHex;
using OvTest::ToHex;

namespace {

using TBlock = std::array<uint8_t, 16>;

const wchar_t C_KEY_ERROR[] =
    L"Key (password) has to be between 1 and 32 Bytes.\rIf you want to use a longer password please use hash instead";

TTwofishData MakeData(const std::vector<uint8_t>& AKey, const void* AIV = nullptr) {
  TTwofishData D;
  CryptTwofish::Init(D, AKey.data(), static_cast<int32_t>(AKey.size()), AIV);
  return D;
}

TBlock Ecb(const TTwofishData& D, const TBlock& AIn) {
  TBlock R;
  CryptTwofish::EncryptECB(D, AIn.data(), R.data());
  return R;
}

std::vector<uint8_t> RandomBytes(size_t N, uint32_t ASeed) {
  std::mt19937 LRandom(ASeed);
  std::vector<uint8_t> R(N);
  for (uint8_t& B : R) B = static_cast<uint8_t>(LRandom());
  return R;
}

std::vector<uint8_t> StreamBytes(Rtl::TMemoryStream& S) {
  const auto* P = static_cast<const uint8_t*>(S.Memory());
  return std::vector<uint8_t>(P, P + S.Size());
}

void Fill(Rtl::TMemoryStream& S, const std::vector<uint8_t>& ABytes) {
  S.Clear();
  S.Write(ABytes.data(), static_cast<int32_t>(ABytes.size()));
}

}  // namespace

// The tables' rule: I=1 encrypts zeros under a zero key; then each plain text is the last cipher
// text, and each key the cipher texts before it, the newest first, cut to the key size. I=49 is
// the last entry; decrypting back down the keys returns the zero block.
TEST(Twofish, KnownAnswerTablesOfTheAuthors) {
  struct TTable {
    size_t KeyBytes;
    const char* First;   // I=1
    const char* Second;  // I=2
    const char* Third;   // I=3
    const char* Last;    // I=49
  };
  const TTable C_TABLES[] = {
      {16, "9f589f5cf6122c32b6bfec2f2ae8c35a", "d491db16e7b1c39e86cb086b789f5419", "019f9809de1711858faac3a3ba20fbc3", "5d9d4eeffa9151575524f115815a12e0"},
      {24, "efa71f788965bd4453f860178fc19101", "88b2b2706b105e36b446bb6d731a1e88", "39da69d6ba4997d585b6dc073ca341b2", "e75449212beef9f4a390bd860a640941"},
      {32, "57ff739d4dc92c1bd7fc01700cc8216f", "d43bb7556ea32e46f2a282b7d45b4e0d", "90afe91bb288544f2c32dc239b2635e6", "37fe26ff1cf66175f5ddf4c33b97a205"},
  };
  for (const TTable& T : C_TABLES) {
    SCOPED_TRACE(T.KeyBytes * 8);
    std::vector<uint8_t> LKey(T.KeyBytes, 0);
    TBlock LPlain{};
    std::vector<std::vector<uint8_t>> LKeys;
    std::vector<TBlock> LTexts;
    for (int I = 1; I <= 49; ++I) {
      const TTwofishData D = MakeData(LKey);
      EXPECT_EQ(D.KeyLen, T.KeyBytes * 8);
      const TBlock LCipher = Ecb(D, LPlain);
      if (I == 1) {
        EXPECT_EQ(ToHex(LCipher), T.First);
      }
      if (I == 2) {
        EXPECT_EQ(ToHex(LCipher), T.Second);
      }
      if (I == 3) {
        EXPECT_EQ(ToHex(LCipher), T.Third);
      }
      if (I == 49) {
        EXPECT_EQ(ToHex(LCipher), T.Last);
      }
      LKeys.push_back(LKey);
      LTexts.push_back(LCipher);
      std::vector<uint8_t> LNext(LPlain.begin(), LPlain.end());
      if (LTexts.size() >= 3) LNext.insert(LNext.end(), LTexts[LTexts.size() - 3].begin(), LTexts[LTexts.size() - 3].end());
      LNext.resize(T.KeyBytes);
      LKey = LNext;
      LPlain = LCipher;
    }
    TBlock LBack = LTexts.back();
    for (size_t I = LKeys.size(); I-- > 0;) {
      const TTwofishData D = MakeData(LKeys[I]);
      CryptTwofish::DecryptECB(D, LBack.data(), LBack.data());
    }
    EXPECT_EQ(LBack, TBlock{});
  }
}

TEST(Twofish, FixedKeyVectorsAndSelfTest) {
  const TBlock LZero{};
  EXPECT_EQ(ToHex(Ecb(MakeData(FromHex("0123456789abcdeffedcba98765432100011223344556677")), LZero)),
            "cfd1d2e5a9be9cdf501f13b892bd2248");
  EXPECT_EQ(
      ToHex(Ecb(MakeData(FromHex("0123456789abcdeffedcba987654321000112233445566778899aabbccddeeff")), LZero)),
      "37527be0052334b89f0cfccae87cfa20");
  EXPECT_TRUE(CryptTwofish::SelfTest());
  // The unit's start step is in the unit table, where the cipher tables stand.
  const TPackageInfoTable* LTable = GetPackageInfoTable();
  bool LFound = false;
  for (int32_t I = 0; I < LTable->UnitCount; ++I)
    if (std::wstring(LTable->UnitInfo[I].UnitName) == L"Ostravane.Utils.Crypt.Twofish") {
      LFound = true;
      EXPECT_EQ(LTable->UnitInfo[I].Init, &CryptTwofish::PreCompMDS);
      EXPECT_EQ(LTable->UnitInfo[I].FInit, nullptr);
      EXPECT_EQ(std::wstring(LTable->UnitInfo[I - 1].UnitName), L"Ostravane.Project.EventNotifier");
    }
  EXPECT_TRUE(LFound);
}

TEST(Twofish, KeyLengthsIvAndTheirFailures) {
  const std::vector<uint8_t> LKey = RandomBytes(33, 1);
  struct TLength {
    int32_t Bytes;
    uint32_t Bits;
  };
  for (const TLength& L : {TLength{1, 128}, {16, 128}, {17, 192}, {20, 192}, {24, 192}, {25, 256}, {32, 256}}) {
    TTwofishData D;
    CryptTwofish::Init(D, LKey.data(), L.Bytes, nullptr);
    EXPECT_EQ(D.KeyLen, L.Bits) << L.Bytes;
    // A short key is the key padded with zero bytes to its size.
    std::vector<uint8_t> LPadded(LKey.begin(), LKey.begin() + L.Bytes);
    LPadded.resize(L.Bits / 8, 0);
    const TTwofishData LFull = MakeData(LPadded);
    EXPECT_EQ(std::memcmp(&D, &LFull, sizeof(D)), 0) << L.Bytes;
  }
  // Lengths 0 and 33 raise the exact text and leave the record as it was.
  for (int32_t LBad : {0, 33, -1}) {
    TTwofishData D;
    std::memset(&D, 0x5A, sizeof(D));
    try {
      CryptTwofish::Init(D, LKey.data(), LBad, nullptr);
      ADD_FAILURE() << "no exception for " << LBad;
    } catch (const Rtl::Exception& E) {
      EXPECT_EQ(E.Message, C_KEY_ERROR);
      EXPECT_EQ(E.ClassType(), Rtl::Exception::StaticClass());
    }
    TTwofishData LUntouched;
    std::memset(&LUntouched, 0x5A, sizeof(LUntouched));
    EXPECT_EQ(std::memcmp(&D, &LUntouched, sizeof(D)), 0);
  }
  // The IV goes to both blocks; a null IV gives zeros.
  const std::vector<uint8_t> LIV = RandomBytes(16, 2);
  TTwofishData D = MakeData({1, 2, 3}, LIV.data());
  EXPECT_EQ(std::vector<uint8_t>(D.InitBlock, D.InitBlock + 16), LIV);
  EXPECT_EQ(std::vector<uint8_t>(D.LastBlock, D.LastBlock + 16), LIV);
  D = MakeData({1, 2, 3});
  EXPECT_EQ(std::vector<uint8_t>(D.InitBlock, D.InitBlock + 16), std::vector<uint8_t>(16, 0));
  EXPECT_EQ(std::vector<uint8_t>(D.LastBlock, D.LastBlock + 16), std::vector<uint8_t>(16, 0));
}

// CBC, OFB, CFB-8 and the counter mode against their definitions, over three calls that carry the
// chaining value, in place as well; ECB leaves LastBlock alone; Reset starts anew.
TEST(Twofish, BlockModesFollowTheirDefinitions) {
  const std::vector<uint8_t> LIV = RandomBytes(16, 3);
  const std::vector<uint8_t> LKey = RandomBytes(32, 4);
  const std::vector<uint8_t> LPlain = RandomBytes(48, 5);
  const TTwofishData LRef = MakeData(LKey);
  const auto E = [&](const uint8_t* P) {
    TBlock B;
    std::memcpy(B.data(), P, 16);
    return Ecb(LRef, B);
  };
  const auto Xor = [](const TBlock& A, const uint8_t* B) {
    TBlock R;
    for (int I = 0; I < 16; ++I) R[I] = A[I] ^ B[I];
    return R;
  };

  // CBC: C_i = E(P_i xor C_(i-1)), C_0 the IV.
  std::vector<uint8_t> LExpected;
  TBlock LChain;
  std::memcpy(LChain.data(), LIV.data(), 16);
  for (int I = 0; I < 3; ++I) {
    LChain = E(Xor(LChain, &LPlain[16 * I]).data());
    LExpected.insert(LExpected.end(), LChain.begin(), LChain.end());
  }
  TTwofishData D = MakeData(LKey, LIV.data());
  std::vector<uint8_t> LOut(48);
  for (int I = 0; I < 3; ++I) CryptTwofish::EncryptCBC(D, &LPlain[16 * I], &LOut[16 * I]);
  EXPECT_EQ(LOut, LExpected);
  EXPECT_EQ(std::memcmp(D.LastBlock, &LExpected[32], 16), 0);
  // Reset makes the same input give the same output; decryption in place returns the plain text.
  CryptTwofish::Reset(D);
  std::vector<uint8_t> LAgain(48);
  for (int I = 0; I < 3; ++I) CryptTwofish::EncryptCBC(D, &LPlain[16 * I], &LAgain[16 * I]);
  EXPECT_EQ(LAgain, LExpected);
  CryptTwofish::Reset(D);
  for (int I = 0; I < 3; ++I) CryptTwofish::DecryptCBC(D, &LAgain[16 * I], &LAgain[16 * I]);
  EXPECT_EQ(LAgain, LPlain);

  // ECB with the record neither reads nor changes LastBlock.
  const std::vector<uint8_t> LLast(D.LastBlock, D.LastBlock + 16);
  TBlock LBlock;
  CryptTwofish::EncryptECB(D, LPlain.data(), LBlock.data());
  EXPECT_EQ(LBlock, E(LPlain.data()));
  CryptTwofish::DecryptECB(D, LBlock.data(), LBlock.data());
  EXPECT_EQ(std::vector<uint8_t>(LBlock.begin(), LBlock.end()), std::vector<uint8_t>(LPlain.begin(), LPlain.begin() + 16));
  EXPECT_EQ(std::vector<uint8_t>(D.LastBlock, D.LastBlock + 16), LLast);

  // OFB: S_i = E(S_(i-1)), O_i = P_i xor S_i, the same both ways.
  LExpected.clear();
  std::memcpy(LChain.data(), LIV.data(), 16);
  for (int I = 0; I < 3; ++I) {
    LChain = E(LChain.data());
    const TBlock C = Xor(LChain, &LPlain[16 * I]);
    LExpected.insert(LExpected.end(), C.begin(), C.end());
  }
  D = MakeData(LKey, LIV.data());
  for (int I = 0; I < 3; ++I) CryptTwofish::EncryptOFB(D, &LPlain[16 * I], &LOut[16 * I]);
  EXPECT_EQ(LOut, LExpected);
  CryptTwofish::Reset(D);
  for (int I = 0; I < 3; ++I) CryptTwofish::DecryptOFB(D, &LOut[16 * I], &LOut[16 * I]);
  EXPECT_EQ(LOut, LPlain);

  // CFB-8: each byte is P xor E(register)[0]; the register shifts in the cipher byte.
  LExpected.clear();
  std::memcpy(LChain.data(), LIV.data(), 16);
  for (uint8_t P : LPlain) {
    const uint8_t C = P ^ E(LChain.data())[0];
    LExpected.push_back(C);
    std::memmove(LChain.data(), LChain.data() + 1, 15);
    LChain[15] = C;
  }
  D = MakeData(LKey, LIV.data());
  CryptTwofish::EncryptCFB(D, LPlain.data(), LOut.data(), 5);
  CryptTwofish::EncryptCFB(D, LPlain.data() + 5, LOut.data() + 5, 43);
  EXPECT_EQ(LOut, LExpected);
  EXPECT_EQ(std::memcmp(D.LastBlock, LChain.data(), 16), 0);
  CryptTwofish::Reset(D);
  CryptTwofish::DecryptCFB(D, LOut.data(), LOut.data(), 30);
  CryptTwofish::DecryptCFB(D, LOut.data() + 30, LOut.data() + 30, 18);
  EXPECT_EQ(LOut, LPlain);
}

TEST(Twofish, CounterModeIsBigEndianAndWraps) {
  const std::vector<uint8_t> LKey = RandomBytes(16, 6);
  const std::vector<uint8_t> LPlain = RandomBytes(40, 7);
  const TTwofishData LRef = MakeData(LKey);
  // A counter two steps before its low three bytes wrap, with byte 12 set to see the carry.
  std::vector<uint8_t> LIV(16, 0);
  LIV[12] = 0x41;
  LIV[13] = LIV[14] = 0xFF;
  LIV[15] = 0xFE;
  std::vector<uint8_t> LExpected;
  TBlock LCounter;
  std::memcpy(LCounter.data(), LIV.data(), 16);
  for (size_t I = 0; I < LPlain.size(); ++I) {
    LExpected.push_back(LPlain[I] ^ Ecb(LRef, LCounter)[0]);
    for (int J = 15; J >= 0 && ++LCounter[J] == 0; --J) {
    }
  }
  TTwofishData D = MakeData(LKey, LIV.data());
  std::vector<uint8_t> LOut(LPlain.size());
  CryptTwofish::EncryptOFBC(D, LPlain.data(), LOut.data(), 1);
  CryptTwofish::EncryptOFBC(D, LPlain.data() + 1, LOut.data() + 1, 39);
  EXPECT_EQ(LOut, LExpected);
  // After 40 steps from ...41 FF FF FE the counter reads ...42 00 00 26.
  EXPECT_EQ(D.LastBlock[12], 0x42);
  EXPECT_EQ(D.LastBlock[13], 0x00);
  EXPECT_EQ(D.LastBlock[14], 0x00);
  EXPECT_EQ(D.LastBlock[15], 0x26);
  CryptTwofish::Reset(D);
  CryptTwofish::DecryptOFBC(D, LOut.data(), LOut.data(), 40);
  EXPECT_EQ(LOut, LPlain);

  uint8_t LAll[16];
  std::memset(LAll, 0xFF, 16);
  CryptTwofish::IncBlock(LAll, 16);
  EXPECT_EQ(std::vector<uint8_t>(LAll, LAll + 16), std::vector<uint8_t>(16, 0));
  uint8_t LCarry[3] = {0x00, 0x01, 0xFF};
  CryptTwofish::IncBlock(LCarry, 3);
  EXPECT_EQ(LCarry[0], 0x00);
  EXPECT_EQ(LCarry[1], 0x02);
  EXPECT_EQ(LCarry[2], 0x00);
}

TEST(Twofish, BurnLeavesNoKeyMaterial) {
  TTwofishData D = MakeData(RandomBytes(32, 8), RandomBytes(16, 9).data());
  CryptTwofish::Burn(D);
  EXPECT_EQ(D.KeyLen, 0u);
  const auto* P = reinterpret_cast<const uint8_t*>(&D);
  EXPECT_EQ(std::count(P, P + sizeof(D), 0), static_cast<std::ptrdiff_t>(sizeof(D)));
}

// Lengths 0 to 48: whole blocks in ECB, a padded last block and one byte of its count; back again.
TEST(Twofish, StreamFormLengthsAndRoundTrip) {
  const std::vector<uint8_t> LKey = RandomBytes(20, 10);
  const TTwofishData LRef = MakeData(LKey);
  const std::vector<uint8_t> LAll = RandomBytes(48, 11);
  Rtl::TMemoryStream LSource, LCipher, LPlain;
  for (size_t N = 0; N <= 48; ++N) {
    SCOPED_TRACE(N);
    const std::vector<uint8_t> LData(LAll.begin(), LAll.begin() + N);
    Fill(LSource, LData);
    LSource.SetPosition(N / 2);  // the form reads from the start, wherever the position is
    Fill(LCipher, RandomBytes(100, 12));  // the destination is emptied first
    CryptTwofish::EncryptECB(LKey.data(), static_cast<int32_t>(LKey.size()), LSource, LCipher);
    const std::vector<uint8_t> LOut = StreamBytes(LCipher);
    const size_t LRest = N % 16;
    ASSERT_EQ(LOut.size(), LRest ? (N / 16 + 1) * 16 + 1 : N);
    for (size_t B = 0; B * 16 < N; ++B) {
      TBlock LBlock{};
      std::memcpy(LBlock.data(), LData.data() + 16 * B, std::min<size_t>(16, N - 16 * B));
      EXPECT_EQ(std::memcmp(Ecb(LRef, LBlock).data(), LOut.data() + 16 * B, 16), 0) << "block " << B;
    }
    if (LRest) {
      EXPECT_EQ(LOut.back(), LRest);
    }
    CryptTwofish::DecryptECB(LKey.data(), static_cast<int32_t>(LKey.size()), LCipher, LPlain);
    EXPECT_EQ(StreamBytes(LPlain), LData);
  }
}

TEST(Twofish, StreamFormInPlace) {
  const std::vector<uint8_t> LKey = RandomBytes(32, 13);
  const std::vector<uint8_t> LData = RandomBytes(37, 14);
  Rtl::TMemoryStream LSource, LExpected, LStream;
  Fill(LSource, LData);
  CryptTwofish::EncryptECB(LKey.data(), 32, LSource, LExpected);
  Fill(LStream, LData);
  CryptTwofish::EncryptECB(LKey.data(), 32, LStream);
  EXPECT_EQ(StreamBytes(LStream), StreamBytes(LExpected));
  EXPECT_EQ(LStream.GetPosition(), LStream.GetSize());
  CryptTwofish::DecryptECB(LKey.data(), 32, LStream);
  EXPECT_EQ(StreamBytes(LStream), LData);
  EXPECT_EQ(LStream.GetPosition(), 37);
}

// A stream of 16n + 2 to 16n + 15 bytes raises the assertion failure after writing the n whole
// blocks; a bad key raises the key text before anything is written.
TEST(Twofish, StreamFormFailures) {
  const std::vector<uint8_t> LKey = RandomBytes(16, 15);
  const TTwofishData LRef = MakeData(LKey);
  Rtl::TMemoryStream LSource, LDest;
  for (size_t N : {2, 15, 16 + 2, 32 + 9, 32 + 15}) {
    SCOPED_TRACE(N);
    Fill(LSource, RandomBytes(N, 16));
    try {
      CryptTwofish::DecryptECB(LKey.data(), 16, LSource, LDest);
      ADD_FAILURE() << "no exception";
    } catch (const Rtl::EAssertionFailed& E) {
      EXPECT_EQ(E.Text, L"Incorrect input stream");
      EXPECT_EQ(E.UnitName, L"Ostravane.Utils.Crypt.Twofish");
      EXPECT_EQ(E.Message.rfind(L"Incorrect input stream (Ostravane.Utils.Crypt.Twofish, line ", 0), 0u);
    }
    ASSERT_EQ(LDest.Size(), N / 16 * 16);
    for (size_t B = 0; B < N / 16; ++B) {
      TBlock LPlain;
      CryptTwofish::DecryptECB(LRef, static_cast<const uint8_t*>(LSource.Memory()) + 16 * B, LPlain.data());
      EXPECT_EQ(std::memcmp(LPlain.data(), static_cast<const uint8_t*>(LDest.Memory()) + 16 * B, 16), 0);
    }
  }
  // The in-place form leaves its stream as it was when the run fails.
  Fill(LSource, RandomBytes(20, 17));
  const std::vector<uint8_t> LBefore = StreamBytes(LSource);
  EXPECT_THROW(CryptTwofish::DecryptECB(LKey.data(), 16, LSource), Rtl::EAssertionFailed);
  EXPECT_EQ(StreamBytes(LSource), LBefore);
  Fill(LDest, {1, 2, 3});
  try {
    CryptTwofish::EncryptECB(LKey.data(), 0, LSource, LDest);
    ADD_FAILURE() << "no exception";
  } catch (const Rtl::Exception& E) {
    EXPECT_EQ(E.Message, C_KEY_ERROR);
  }
  EXPECT_EQ(StreamBytes(LDest), std::vector<uint8_t>({1, 2, 3}));
}
