// The register spaces: what reads answer, what writes queue, what is refused, and what a failing device leaves behind.
#include <thread>

#include "process/inputSource.h"
#include "process/tprocess_ctl.h"
#include "proto/addr_coordinatescanboardregister.h"
#include "proto/addr_numberfuncardportregister.h"
#include "proto/data_common.h"
#include "support/allocations.h"
#include "support/space_fixture.h"

using namespace TIRK_MCUC;
using namespace testing_support;
using ::testing::IsEmpty;

namespace {

class RegisterSpaces : public SpaceTest {
 protected:
  RegisterSpaces() { m_store->FpgaParaLoadFinish = true; }
  template <size_t N>
  static ByteVector mirror(const GuardedBytes<N>& bytes, size_t offset, size_t length) {
    ByteVector out(length);
    bytes.read(offset, out);
    return out;
  }
  GuardedBytes<kPositionTableSize>& m_positions = Addr_CoordinateScanBoardRegister::getInstance()->PortsTopoPara;
  GuardedBytes<kNumberTableSize>& m_numbers = Addr_NumberFunCardPortRegister::getInstance()->FunCardPortPara;
  Data_Global* m_store = Data_Global::getInstance();
};

TEST_F(RegisterSpaces, AWriteWithoutMemoryForItIsRefused) {
  auto request = writeRequest(0x02300000, bytes({1, 2}));
  {
    const RefusedAllocations none(sizeof(MCUProcessDataBlock), sizeof(MCUProcessDataBlock));
    EXPECT_EQ(Tshl_ctl::getInstance()->Ssh_StartSendCard(&request), 4);
  }
  EXPECT_EQ(request.proto.m_ucAck, 4);
  EXPECT_EQ(logged("Error:registerspace.cpp"), 1U);
  EXPECT_THAT(applied(), IsEmpty());
}

TEST_F(RegisterSpaces, AWriteWithoutDataIsRefused) {
  const uint32_t kAddresses[] = {0x0000003D, 0x01000000, 0x01000001, 0x01000002, 0x01000004, 0x01000018,
                                 0x010000FF, 0x02100000, 0x02300000, 0x03000000, 0x03100000, 0x05000000,
                                 0x08000000, 0x0E000000, 0x0F001000, 0x12010000, 0xF0000000};
  for (const uint32_t address : kAddresses) {
    auto request = writeRequest(address, bytes({1, 2}));
    request.proto.m_data.clear();
    EXPECT_EQ(send(request), refused(7)) << std::hex << address;
  }
  EXPECT_EQ(logged("===invalid data"), std::size(kAddresses));
  EXPECT_EQ(write(0x03000000, {}), refused(7));
  EXPECT_THAT(applied(), IsEmpty());
  EXPECT_EQ(journal(), "");
}

TEST_F(RegisterSpaces, WhatLeavesASpaceIsRefusedWhole) {
  const struct {
    uint32_t address;
    uint16_t length;
    bool reads, writes;
  } kCases[] = {{0x000000FF, 2, true, true},      {0x00000100, 2, true, true},    {0x0000FFFE, 512, true, true},
                {0x02100188, 1, true, true},      {0x0210FFFF, 1024, true, true}, {0x02300FFF, 2, true, true},
                {0x0230FFFF, 512, true, true},    {0x03009FFF, 2, true, false},   {0x0300FFFF, 0, true, false},
                {0x03000001, 40960, true, false}, {0x031002FF, 2, true, true},    {0x0310FFFF, 1, true, true},
                {0x08000000, 127, true, false},   {0x08000001, 128, true, false}, {0x0800FFFF, 256, true, false},
                {0x12010000, 64, true, false},    {0x1201003F, 1, true, false},   {0x120101FF, 2, false, true},
                {0x1201FFFF, 1, true, true},      {0xF1FFFFFF, 2, true, true},    {0x022001FE, 2, false, true},
                {0x022001FF, 1, false, true},     {0x0220F117, 1, false, true},   {0x02810FFF, 2, true, true},
                {0x02811000, 1, true, true},      {0x0281FFFF, 1, true, true}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(::testing::Message() << std::hex << test.address << " + " << test.length);
    if (test.reads) {
      EXPECT_EQ(read(test.address, test.length), refused(5));
    }
    if (test.writes) {
      EXPECT_EQ(write(test.address, counting(test.length)), refused(5));
    }
  }
  EXPECT_THAT(applied(), IsEmpty());
  EXPECT_EQ(journal(), "");
}

TEST_F(RegisterSpaces, AFailedReadAnswersNothingAndLeavesTheMirrors) {
  m_positions.fill(0, kPositionTableSize, 0x11);
  m_numbers.fill(0, kNumberTableSize, 0x22);
  m_store->HardwareScreenGenReg.fill(0, 64, 0x33);
  const struct {
    vboard::Op op;
    uint32_t address;
    uint16_t length;
    int result;
    const char* text;
  } kCases[] = {
      {vboard::Op::FlashRead, 0x02300000, 8, -1, "=== ReadFromBackupInfo ===Read backup info flash failed. ret = -5"},
      {vboard::Op::FlashRead, 0x05000000, 8, 4,
       "=== ReadFromSoftwareTable ===Read Bytes From Flash Failed. DriverRet = -5"},
      {vboard::Op::FpgaRead, 0x03000000, 2000, -1, "=== ReadFromPosNetPort ===Read FPGA Posi Info failed! ret = -1"},
      {vboard::Op::FpgaRead, 0x03100000, 3, 4, "=== ReadFromNumberFunCardPort ==="},
      {vboard::Op::FpgaRead, 0x12010000, 8, 4, "=== ReadScreenPatternGenInfo ==="},
      {vboard::Op::FpgaRead, 0xF0000400, 8, 4, "=== ReadTestPrintfInfomation ==="},
      {vboard::Op::FpgaRead, 0x0E000000, 8, 4,
       "=== Read_12BIT_RedGammaInfo ===Read 12BIT_RedGamma Info failed! ret = -1"},
      {vboard::Op::FpgaRead, 0x0E300000, 1, 4,
       "=== Read_10BIT_GammaValInfo ===Read 10BIT_GammaVal Info failed! ret = -1"},
      {vboard::Op::EdidGet, 0x08000000, 128, 4, "=== ReadFromEDIDSpace ==="}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(::testing::Message() << std::hex << test.address);
    fail(test.op, 3, -5);
    const Answer expected{test.result, 4, {}};
    EXPECT_EQ(read(test.address, test.length), expected);
    EXPECT_EQ(logged(test.text), 1U);
    fail(test.op, 0);
  }
  EXPECT_EQ(logged("= Finish Read "), 0U);
  EXPECT_EQ(mirror(m_positions, 0, 2000), repeated(2000, 0x11));
  EXPECT_EQ(mirror(m_numbers, 0, kNumberTableSize), repeated(kNumberTableSize, 0x22));
  EXPECT_EQ(mirror(m_store->HardwareScreenGenReg, 0, 64), repeated(64, 0x33));
}

TEST_F(RegisterSpaces, FewBytesOfTheNumberTableReadOnlyTheirBlocks) {
  const ByteVector old = repeated(kNumberTableSize, 0x22);
  m_numbers.write(0, old);
  ByteVector table;
  for (const auto& [address, length] :
       {std::pair{0x500000U, 128U}, {0x501000U, 128U}, {0x500100U, 256U}, {0x502000U, 128U}, {0x503000U, 128U}}) {
    const ByteVector content = counting(length, static_cast<uint8_t>(address >> 8));
    setFpga(address, content);
    table = table + content;
  }
  const auto part = [](const ByteVector& whole, size_t offset, size_t length) {
    return ByteVector(&whole[offset], &whole[offset] + length);
  };
  EXPECT_EQ(read(0x0310007F, 2), done(part(table, 127, 2))) << "of two blocks";
  EXPECT_EQ(mirror(m_numbers, 0, 768), part(table, 0, 256) + part(old, 0, 512));
  EXPECT_EQ(read(0x03100190, 1), done(part(table, 400, 1)));
  EXPECT_EQ(mirror(m_numbers, 0, 768), part(table, 0, 512) + part(old, 0, 256));
  EXPECT_EQ(read(0x031001FE, 5), done(part(table, 510, 5)));
  EXPECT_EQ(mirror(m_numbers, 0, 768), table);
}

// A handler writes the mirror, then the FPGA: a read in between answers from the FPGA and must not undo the mirror.
TEST_F(RegisterSpaces, AReadRefreshesTheMirrorsUnlessAHandlerRuns) {
  setFpga(0x600000, counting(9));
  setFpga(0xA00003, counting(5));
  m_positions.fill(0, 9, 0x99);
  {
    const CMutexGuardT handler(Tprocess_ctl::getInstance()->m_mutex);
    std::thread([] {
      EXPECT_EQ(read(0x03000000, 8), done(counting(8)));
      EXPECT_EQ(read(0x030001EF, 8), refused(4));  // the write test would undo what the handler is about to write
    }).join();
  }
  EXPECT_EQ(mirror(m_positions, 0, 9), repeated(9, 0x99));
  EXPECT_THAT(did("fpga w"), IsEmpty());
  EXPECT_EQ(read(0x03000000, 8), done(counting(8)));
  EXPECT_EQ(mirror(m_positions, 0, 9), counting(8) + bytes({0x99}));
  EXPECT_EQ(read(0x12010003, 5), done(counting(5)));
  EXPECT_EQ(mirror(m_store->HardwareScreenGenReg, 2, 6), bytes({0, 1, 2, 3, 4, 5}));
}

TEST_F(RegisterSpaces, WhileTheBusIsTestedTheMirrorsAnswer) {
  setFpga(0x600000, repeated(40960, 0xAA));
  setFpga(0x500000, repeated(128, 0xAA));
  m_positions.write(0x1EE, counting(4));
  m_numbers.write(126, counting(4));
  for (const int on : {1, 0}) {  // switched off, what it wrote is still there
    m_store->setMemoriesUnderTest(on == 0);
    m_store->setRWFPGATestflag(static_cast<uint8_t>(on));
    EXPECT_EQ(read(0x030001EE, 4), done(counting(4)));
    EXPECT_EQ(read(0x030001EF, 3), done(counting(3, 2)));
    EXPECT_EQ(read(0x0310007E, 4), done(counting(4)));
  }
  m_store->setMemoriesUnderTest(false);
  EXPECT_EQ(mirror(m_positions, 0x1EE, 4), counting(4));
  EXPECT_EQ(read(0x030001E0, 4), done(repeated(4, 0xAA)));
}

TEST_F(RegisterSpaces, TheTransferTestMeasuresAndLeavesTheMemoryAlone) {
  EXPECT_EQ(read(0x030001EE, 16385), refused(6));
  EXPECT_EQ(read(0x030001EF, 16385), refused(6));
  vboard::board().journal.setOn(false);
  setFpga(0x600000, counting(600));
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(read(0x030001EF, 2), done(counting(2, static_cast<uint8_t>(0x1EF + 1))));
  EXPECT_EQ(fpga(0x600000, 600), counting(600));
  fail(vboard::Op::FpgaRead, 3);  // three tries of one attempt
  const Answer kFailed{-1, 4, {}};
  EXPECT_EQ(read(0x030001EE, 2), kFailed);
  const std::string printed = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(occurrences(printed, "!!!!!!!!!!!!!!!!!!!!!!!!!!!发送65535 ,速度"), 10U);
  EXPECT_EQ(occurrences(printed, "!!!!!!!!!!!!!!!!!!!接收65535 ,速度"), 10U);
  // The ordinary read follows all the same.
  EXPECT_EQ(mirror(m_positions, 0x1EE, 2), counting(2, static_cast<uint8_t>(0x1EE + 1)));
}

TEST_F(RegisterSpaces, TheHardwareRecordTakesModelAndSerialNumberFromTheEnvironment) {
  setFlash(0x1000, counting(256));
  fail(vboard::Op::EnvOpen, 100);
  EXPECT_EQ(read(0, 40), done(counting(40))) << "without an environment it is the flash's";
  fail(vboard::Op::EnvOpen, 0);
  setEnv("device_modelid", "1a2b");
  setEnv("device_sn", "0123456789ABCDEF");
  const ByteVector record =
      counting(2) + fromHex("2b1a") + counting(18, 5) + fromHex("0123456789abcdef") + counting(226, 31);
  for (const auto& [offset, length] : {std::pair<uint32_t, uint16_t>{0, 256},
                                       {2, 2},
                                       {0, 3},
                                       {3, 2},
                                       {20, 4},
                                       {29, 10},
                                       {24, 3},
                                       {4, 18},
                                       {30, 226}}) {
    EXPECT_EQ(read(offset, length), done(ByteVector(&record[offset], &record[offset] + length))) << offset;
  }
  // What the flash does not give is zeros, and the answer counts.
  fail(vboard::Op::FlashRead, 3);
  const Answer expected{-1, 0, bytes({0, 0, 0x2B, 0x1A, 0})};
  EXPECT_EQ(read(0, 5), expected);
  EXPECT_EQ(logged("=== ReadFromPosNetPort ===Read HwBasic Info failed! ret = "), 1U);
}

TEST_F(RegisterSpaces, TheTestSpaceIsTheFpgaAsItIs) {
  EXPECT_EQ(write(0xF0600010, counting(2048)), done());
  EXPECT_EQ(fpga(0x600010, 2048), counting(2048));
  EXPECT_EQ(read(0xF0600010, 2048), done(counting(2048)));
  EXPECT_EQ(write(0xF1200000, counting(24)), done());
  EXPECT_EQ(fpga(0x100051, 1), bytes({0}));
  EXPECT_EQ(write(0xF1200000, counting(25)), done());
  EXPECT_EQ(fpga(0x1200000, 25), counting(25));
  EXPECT_EQ(fpga(0x100051, 1), bytes({1}));
  fail(vboard::Op::FpgaWrite, 3);
  EXPECT_EQ(write(0xF0000400, bytes({9})).result, -1);
  EXPECT_EQ(logged("=== Write FPGA test Reg failed ,Reg :  0x00000400 ret = -1"), 1U);
  EXPECT_THAT(applied(), IsEmpty());
}

TEST_F(RegisterSpaces, TheScreenRecordIsCutAtItsEnd) {
  m_store->ScreenParaReg.write(380, counting(12));
  EXPECT_EQ(read(0x0210017C, 12), done(counting(12)));
  EXPECT_EQ(read(0x02100180, 1024), done(counting(8, 5)));
  EXPECT_EQ(read(0x02100000, 1024).data.size(), 392U);
}

TEST_F(RegisterSpaces, OneByteOfTheSoftwareSpaceIsANotice) {
  ReportListener wpr(m_directory.path().string(), kTaskWpr);
  setFlash(0xC3FFF0, counting(32));
  EXPECT_EQ(read(0x0500FFF0, 15), done(counting(15)));
  EXPECT_EQ(read(0x0500FFFF, 2), done(counting(2, 16)));
  EXPECT_THAT(wpr.take(), IsEmpty());
  EXPECT_EQ(read(0x0500FFFF, 1), done(bytes({0})));
  const auto reports = wpr.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].data, bytes({0xC8}));
  setFlash(0xC9FFFF, bytes({0x66}));
  EXPECT_EQ(read(0x0506FFFF, 1), done(bytes({0x66})));
  EXPECT_EQ(read(0x05000000, 32768).data, flash(0xC30000, 32768));
}

TEST_F(RegisterSpaces, GammaTablesAreToldApartByTheirStart) {
  setFpga(0x700000, counting(16384, 1));
  setFpga(0x710000, counting(16384, 2));
  setFpga(0x720000, counting(16384, 3));
  setFpga(0xD12000, bytes({28}));
  setFpga(0xD13000, bytes({22}));
  const std::pair<uint32_t, uint16_t> parts[] = {{0x0E000000, 1024}, {0x0E001FFE, 4}, {0x0E002000, 16}, {0x0E003FFE, 1},
                                                 {0x0E103000, 16},   {0x0E201FFE, 1}, {0x0E202000, 3}};
  for (const auto& [address, length] : parts) {
    const uint32_t colour = address >> 20 & 3;
    EXPECT_EQ(read(address, length), done(counting(length, static_cast<uint8_t>(1 + colour + address)))) << address;
  }
  EXPECT_EQ(read(0x0E302000, 1), done(bytes({22})));
  EXPECT_EQ(read(0x0E300000, 1), done(bytes({28})));
  fail(vboard::Op::FpgaRead, 100);
  for (uint32_t address :
       {0x0E001FFFU, 0x0E003FFFU, 0x0E004000U, 0x0E0F0000U, 0x0E101FFFU, 0x0E300001U, 0x0E400000U, 0x0EFFFFFFU})
    EXPECT_EQ(read(address, 9), done(ByteVector(9))) << std::hex << address;
  for (uint32_t address : {0x0E300000U, 0x0E302000U}) EXPECT_EQ(read(address, 2), done(ByteVector(2)));
}

TEST_F(RegisterSpaces, TheEdidIsTheSelectedInputs) {
  EXPECT_EQ(read(0x08000000, 1), done());  // finds the boards
  m_store->SendParameterReg.setByte(sendpara::kInputSource, 98);
  InputSource::getInstance()->EDIDSetByMode(1, 1280, 720, 6000);
  ByteVector edid(256);
  ASSERT_EQ(InputSource::getInstance()->ReadEDIDInfo(1, edid.data()), 0);
  EXPECT_EQ(read(0x08000000, 256), done(edid));
  EXPECT_EQ(read(0x08000000, 128), done(ByteVector(edid.begin(), edid.begin() + 128)));
  m_store->SendParameterReg.setByte(sendpara::kInputSource, 80);
  EXPECT_EQ(read(0x08000000, 256), refused(4));  // none was loaded there
}

TEST_F(RegisterSpaces, SpacesWithoutContentAcceptOrRefuse) {
  EXPECT_EQ(read(0x00010000, 512), done());
  EXPECT_EQ(write(0x0001FFFF, bytes({1})), done());
  EXPECT_EQ(read(0x02700000, 60000), done());
  EXPECT_EQ(write(0x02700000, ByteVector(60000)), done());
  EXPECT_EQ(read(0x02700000, 0), refused(6));
  for (uint32_t address : {0x18000000U, 0x18201000U}) {
    EXPECT_EQ(read(address, 4096), done(ByteVector(4096)));
    EXPECT_EQ(write(address, ByteVector(256)), refused(4));
  }
  EXPECT_THAT(applied(), IsEmpty());
  EXPECT_EQ(journal(), "");
}

}  // namespace
