// The one gateway to the FPGA register bus, the SPI flash, the cards behind the output ports, the board's clock and the
// configuration files of receiving cards. Any thread.
//
// Bus and flash accesses are tried three times 100 us apart. Bus addresses name one register byte each. Results: 0
// done, -1 (bus) or the library's non-zero code (flash, cards) failed. `dev`, `cmd` and `FlashNum` are accepted and
// ignored: there is one bus and one flash address space.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "mcucmutex.h"

namespace TIRK_MCUC {

// Card kinds, as `DevType`.
enum CardType { RecvCard = 1, MultiCard = 2, Distribute = 3, Launcher3D = 4 };

constexpr uint8_t kAllPorts = 255;
constexpr uint16_t kAllCards = 0xFFFF;
constexpr int kPortNotLinked = -2;  // ReadCardPara on a port without link

// Where the configuration files of receiving cards are.
constexpr std::string_view kRvDirectory = "/data/tirk/etc/qxt/cabCfg/";

class DriverUtil {
 public:
  static DriverUtil* getInstance();
  DriverUtil(const DriverUtil&) = delete;
  DriverUtil& operator=(const DriverUtil&) = delete;

  // Opens the flash, and finishes a save that the last run could not. False, with an Error line, when it can not be
  // opened; the daemon goes on.
  bool initialize();

  // --- FPGA bus. Once three attempts have failed and the configuration state then reads 0, every bus access fails at
  // once, without attempt or line, until clearFpgaDown. A block longer than 65 535 bytes fails. Reads hold
  // m_mutex_read.
  int WriteFPGABusBlock(uint32_t addr, const uint8_t* data, uint32_t length);
  int ReadFPGABusBlock(uint32_t addr, uint8_t* data, uint32_t length);
  int WriteFPGABusOneWord(uint32_t addr, uint8_t data);  // "word": one register byte
  int ReadFPGABusOneWord(uint32_t addr, uint8_t* data);
  int FPGAC5_WriteOneWord(int dev, int cmd, uint32_t addr, uint8_t data);
  uint8_t FPGAC5_ReadOneWord(int dev, int cmd, uint32_t addr);  // 0 when the read failed
  // In pieces of at most 1024 bytes; ends at the first that fails. Length 0: -1, no transfer.
  int FPGAC5_WriteDataBlock(int dev, int cmd, uint32_t addr, uint32_t length, const uint8_t* data);
  int FPGAC5_ReadDataBlock(int dev, int cmd, uint32_t addr, uint32_t length, uint8_t* data);
  bool fpgaDown() const { return FpgaDownFlg.load(); }
  void clearFpgaDown() { FpgaDownFlg = false; }  // the FPGA has just been loaded

  // --- Flash. A write that loses its power half way is done again at the next start (pendingsave.h).
  int ReadBytesFromFlash(uint32_t addr, uint32_t length, uint8_t* data);
  int ReadBytesFromFlash(int FlashNum, uint32_t addr, uint32_t length, uint8_t* data);
  int WriteDataToFlash(uint32_t addr, uint32_t length, const uint8_t* data);
  int WriteDataToFlash(int FlashNum, uint32_t addr, uint32_t length, const uint8_t* data);
  int PageProgram(int FlashNum, uint32_t addr, uint32_t n, const uint8_t* data);
  int WriteDataToFactoryTmpFlash(uint32_t addr, uint32_t length, const uint8_t* data);

  // --- Cards. ReadCardPara holds m_mutex_read; -2 when the port has no link; a broadcast read answers zeros. It reads
  // the link masks as atomics and takes no other lock. SendCardPara tests no link and takes no lock.
  int ReadCardPara(uint32_t RegStartAddr, uint32_t PortAddr, uint16_t BoardAddr, uint16_t Num, uint8_t* ParaPtr,
                   int DevType);
  int ReadCardPara(uint32_t RegStartAddr, uint32_t PortAddr, uint16_t Num, uint8_t* ParaPtr, int DevType);
  int SendCardPara(uint32_t RegStartAddr, uint8_t PortAddr, uint16_t BoardAddr, uint16_t Num, const uint8_t* ParaPtr,
                   int DevType);

  // --- Configuration files of receiving cards, in kRvDirectory.
  // The path is `file_name` (in that directory, or a bare name of it) when one is given and the number is above 31,
  // else "RvCfgFile_%d.rcfgx". Regular files alone are written and removed; a path elsewhere is refused with an Error
  // line.
  int ReadBytesFromrecvcard(int FlashNum, uint32_t addr, uint32_t length, uint8_t* data, const char* buff);
  int WriteRvFileToFalsh(const char* file_name, int save_rv_num, uint32_t begin_addr, const uint8_t* write_data,
                         uint32_t length);                  // 0 written; 1 not opened, not sought or not written whole
  int RemoveRvFile(const char* file_name, int delate_num);  // 0; -1 refused, or when it exists and cannot be examined
  int RemoveOtherRvFile(int begin_num, int max_num);        // begin_num..max_num - 1; 0
  int LoadRvCfgToRecvCard(int load_index);                  // replays the file to all cards, with its pauses; 0

  // --- The board's clock, in local time.
  // 0 year - 2000, 1 month 1..12, 2 day, 3 hour, 4 minute, 5 second, 6 weekday 1..7 (1 Sunday); any other index 0.
  uint8_t ReadTime(int index);
  void WriteTime(uint8_t hours, uint8_t minutes, uint8_t seconds);  // out-of-range values normalise
  void WriteDate(uint8_t year, uint8_t month, uint8_t date);        // year counts from 2000
  void WriteWeekday(uint8_t day);                                   // rewrites the current time

  // --- Shell. The first output line, its line end cut, into `result` (always NUL-terminated): 0; -1 and `result` as it
  // was when there is none.
  int run_command_return_string(const char* cmd, char* result, int capacity);
  int ReadFpgaStatus(const char* cmd);  // the output as a number, -1 when it is none
  static void chomp(char* s);
  const char* GetParaFile() const { return para_file; }

 private:
  template <class T>
  friend class NoDestroy;
  DriverUtil() = default;
  void judgeFpgaState(const char* failureLine);

  char para_file[100] = {};
  std::atomic<bool> FpgaDownFlg{false};
  CMutexThreadRecursive m_mutex_read{LockRank::driver};
};

// The command that prints the FPGA's configuration state.
extern const char* const FpgaStatusDir;

}  // namespace TIRK_MCUC
