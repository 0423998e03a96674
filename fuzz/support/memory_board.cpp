#include "support/memory_board.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "support/verdict.h"

namespace fuzz {

namespace {

namespace fs = std::filesystem;

constexpr int64_t kNewBoardsTimeUs = 1709294400LL * 1000000;  // a Friday noon
constexpr unsigned kKinds = 4;
constexpr unsigned kPorts = 4;
constexpr unsigned kBoards = 2;
constexpr uint32_t kCardSizeRegister = 0x02000017;

struct Range {
  uint32_t first;
  uint32_t end;
};
// Zero in a new board's flash; all else is erased.
constexpr Range kZeroFlash[] = {{0x000000, 0x010000}, {0x200000, 0x201000}, {0xA01000, 0xA01100}, {0xA3B000, 0xA62000},
                                {0xB8B000, 0xB8D000}, {0xB98000, 0xB9A000}, {0xC20000, 0xC22000}, {0xD14000, 0xD18000}};
constexpr Range kStatus[] = {{0x1E, 0x20},   {0x9E, 0xA0},   {0x120, 0x122},       {0x126, 0x128},      {0x1D7, 0x1D8},
                             {0x1E0, 0x1E2}, {0x1F2, 0x1FC}, {0xF04000, 0xF04004}, {0xF05100, 0xF05104}};

void newFlashPage(uint32_t address, MutableBytes page) {
  std::fill(page.begin(), page.end(), uint8_t{0xFF});
  for (const Range& zero : kZeroFlash) {
    const uint32_t first = std::max(zero.first, address);
    const uint32_t end = std::min(zero.end, address + Memory::kPageSize);
    if (first < end) std::fill_n(page.begin() + (first - address), end - first, uint8_t{0});
  }
}

void newFpgaPage(uint32_t, MutableBytes page) {
  std::fill(page.begin(), page.end(), uint8_t{0});
}

// A memory file system where there is one: files are synchronised to their device.
std::string makeDirectory() {
  const fs::path memory = "/dev/shm";
  const bool usable = fs::is_directory(memory) && ::access(memory.c_str(), W_OK) == 0;
  std::string pattern = ((usable ? memory : fs::temp_directory_path()) / "kadrend-fuzz-XXXXXX").string();
  require(::mkdtemp(pattern.data()) != nullptr, "there is a temporary directory");
  fs::create_directories(pattern + "/data/tirk/etc/sysconf");  // what the daemon keeps beside the flash
  return pattern;
}

// The name of a file below `root`; empty when the words lead out of it.
std::string below(const std::string& root, const std::string& devicePath) {
  if (!devicePath.starts_with('/') || devicePath.find("..") != std::string::npos) return {};
  return root + devicePath;
}

// Whether the envelope is that of the request, but for what the reply says of itself.
bool answers(const TIRK_MCUC::ipcHeaderInfo& reply, const TIRK_MCUC::ipcHeaderInfo& request) {
  return reply.uiid == request.uiid && reply.labelCount == request.labelCount && reply.size == request.size &&
         reply.detail == request.detail && reply.smallLabel == request.smallLabel &&
         reply.largeLabel == request.largeLabel;
}

}  // namespace

MemoryBoard& MemoryBoard::instance() {
  static MemoryBoard board;
  return board;
}

MemoryBoard::MemoryBoard()
    : fpga(kFpgaSize, newFpgaPage),
      flash(kFlashSize, newFlashPage),
      factoryTmp(kFlashSize, newFlashPage),
      m_directory(makeDirectory()),
      m_cards(kKinds * kPorts * kBoards * kCardSize) {
  makeNew();
}

MemoryBoard::~MemoryBoard() {
  std::error_code ignored;
  fs::remove_all(m_directory, ignored);
}

void MemoryBoard::makeNew() {
  for (unsigned op = 0; op < static_cast<unsigned>(vboard::Op::kCount); ++op) {
    faults.set(static_cast<vboard::Op>(op), 0, -1);
  }
  flash.reset();
  factoryTmpMade = false;
  env = {{"firstboot", "0"}, {"ver_rootfs", "V1.0.B1"}, {"device_modelid", "5001"}};
  edids = {};
  light.reset();
  queue.clear();
  clockUs = kNewBoardsTimeUs;
  peersReachable = true;
  expectReply({});
  reboot();
}

void MemoryBoard::reboot() {
  rebootAsked = false;
  if (factoryTmpMade) flash.take(factoryTmp);
  factoryTmpMade = false;
  fpga.reset();
  std::fill(m_cards.begin(), m_cards.end(), uint8_t{0});
  for (uint8_t port = 0; port < kPorts; ++port) {
    for (uint16_t board = 0; board < kBoards; ++board) {
      constexpr uint8_t kSize[4] = {128, 0, 64, 0};
      std::copy_n(kSize, 4, card(1, port, board) + kCardSizeRegister % kCardSize);
    }
  }
  constexpr uint8_t kLinked[1] = {(1U << kPorts) - 1};
  setStatus(0x1F, kLinked);
  setStatus(0xF05100, kLinked);
}

bool MemoryBoard::isStatus(uint32_t address) {
  return std::any_of(std::begin(kStatus), std::end(kStatus),
                     [=](const Range& range) { return address >= range.first && address < range.end; });
}

int MemoryBoard::writeFpga(uint32_t address, Bytes data) {
  if (address > kFpgaSize || data.size() > kFpgaSize - address) return -1;
  const uint32_t end = address + static_cast<uint32_t>(data.size());
  uint32_t from = address;
  for (const Range& status : kStatus) {  // in ascending order
    if (status.end <= from || status.first >= end) continue;
    if (status.first > from) fpga.write(from, data.subspan(from - address, status.first - from));
    from = std::min(status.end, end);
  }
  return fpga.write(from, data.subspan(from - address));
}

uint8_t* MemoryBoard::card(uint8_t kind, uint8_t port, uint16_t board) {
  if (kind == 0 || kind > kKinds || port >= kPorts || board >= kBoards) return nullptr;
  return m_cards.data() + ((kind - 1U) * kPorts * kBoards + port * kBoards + board) * kCardSize;
}

void MemoryBoard::expectReply(const TIRK_MCUC::ipcHeaderInfo& request) {
  m_request = request;
  replies = 0;
  reports = 0;
  lastReply.clear();
}

int MemoryBoard::take(Bytes message) {
  using namespace TIRK_MCUC;
  require(message.size() >= kEnvelopeLength + kShortestFrame && message.size() <= kLargestMessage,
          "a message holds an envelope and a frame");
  const auto head = ipcHeaderInfo::decode(message.first<kEnvelopeLength>());
  const Bytes frame = message.subspan(kEnvelopeLength);
  require(head.payloadLength == frame.size(), "the envelope says how long the frame is");
  require(head.result == frame[2], "the envelope has the frame's acknowledgement");
  require(readWord(&frame[16]) == frame.size() - kShortestFrame, "the frame says how many bytes it carries");
  uint16_t sum = 0;
  MCUCMsg::CaculCheckout(frame.data(), 2, static_cast<int>(frame.size()) - 4, sum);
  require(readWord(&frame[frame.size() - 2]) == sum, "the checksum is right");
  if (const int fault = faults.next(vboard::Op::IpcSend); fault != 0) return fault;
  if (answers(head, m_request)) {
    ++replies;
    lastReply.assign(frame.begin(), frame.end());
  } else {
    ++reports;
  }
  return 0;
}

std::string MemoryBoard::path(const char* devicePath) const {
  return below(m_directory, devicePath);
}

int MemoryBoard::shell(const char* command, std::string* output) {
  if (const int fault = faults.next(vboard::Op::Shell); fault != 0) return fault;
  const std::string line = command;
  const auto word = [&line](size_t index) {
    size_t at = 0;
    for (; index > 0 && at != std::string::npos; --index) at = line.find(' ', at == 0 ? 0 : at + 1);
    if (at == std::string::npos) return std::string();
    const size_t first = at == 0 ? 0 : at + 1;
    return line.substr(first, line.find(' ', first) - first);
  };
  std::error_code problem;
  if (word(0) == "/bin/cat" && output != nullptr) *output = "1\n";
  if (word(0) == "reboot") rebootAsked = true;
  if (word(0) == "sysconfig") env[word(2)] = word(3);
  if (word(0) == "/usr/pmx100/bin/fw_setenv") env[word(1)] = word(2);
  if (word(0) == "cp" && word(2).ends_with("pmxpara_factory_tmp")) {
    factoryTmp.reset();
    factoryTmpMade = true;
  }
  const std::string name = word(0) == "mkdir" || word(0) == "rm" ? below(m_directory, word(2)) : "";
  if (name.empty()) return 0;
  if (word(0) == "mkdir") return fs::create_directories(name, problem) || !problem ? 0 : 1;
  return fs::remove_all(name, problem) > 0 && !problem ? 0 : 1;
}

}  // namespace fuzz
