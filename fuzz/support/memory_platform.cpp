// The platform's operations over the board in memory.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>

#include "apipc.h"
#include "boardaccess.h"
#include "boardhost.h"
#include "llinput.h"
#include "netinfo.h"
#include "stinfo.h"
#include "support/memory_board.h"
#include "sysconfenv.h"

using fuzz::Bytes;
using fuzz::MemoryBoard;
using fuzz::MutableBytes;
using vboard::Op;

struct apipc_msg {
  std::vector<uint8_t> body;
};

namespace {

constexpr en_if_t kInputTypes[MemoryBoard::kInputs] = {EN_IF_T_DDVI, EN_IF_T_HDMI14, EN_IF_T_DDVI};
constexpr uint32_t kFirstInputId = 0x100;

MemoryBoard& board() {
  return MemoryBoard::instance();
}

// The fault of this call, or what `operation` answers.
template <class Operation>
int unlessFault(Op op, Operation operation) {
  const int fault = board().faults.next(op);
  return fault != 0 ? fault : operation();
}

// Null when there is no such input.
std::optional<MemoryBoard::Edid>* inputOf(uint32_t id) {
  const uint32_t slot = id - kFirstInputId;
  return slot < MemoryBoard::kInputs ? &board().edids[slot] : nullptr;
}

int dateText(char* text, const char* format) {
  const time_t seconds = board().clockUs / 1000000;
  tm local{};
  if (localtime_r(&seconds, &local) == nullptr) return -1;
  return std::strftime(text, 32, format, &local) != 0 ? 0 : -1;
}

// The register window of a card; what leaves it wraps.
template <class Access>
void eachPiece(uint32_t address, size_t count, Access access) {
  for (size_t done = 0; done < count;) {
    const size_t at = (address + done) % MemoryBoard::kCardSize;
    const size_t piece = std::min(count - done, MemoryBoard::kCardSize - at);
    access(at, done, piece);
    done += piece;
  }
}

void sensorAnswer(uint8_t* data, size_t length) {
  const uint16_t raw = board().light.value_or(0);
  const uint8_t answer[] = {1, 2, static_cast<uint8_t>(raw >> 8 | 0x80), static_cast<uint8_t>(raw), 0};
  std::copy_n(answer, std::min(length, sizeof answer), data);
}

}  // namespace

extern "C" {

uint8_t apcard_bit_self(void) {
  return 1;
}
int apipc_init(uint32_t, int) {
  return 0;
}
int apipc_loop_wait(void*, apipc_event_fn) {
  return -1;
}
uint32_t apipc_loop_ahead(void) {
  return 0;
}

int apipc_enq(apipc_msg_t** message) {
  board().queue.push_back(std::move((*message)->body));
  delete *message;
  return 0;
}

int apipc_deq(apipc_msg_t** message) {
  if (board().queue.empty()) return -1;
  *message = new apipc_msg{std::move(board().queue.front())};
  board().queue.pop_front();
  return 0;
}

const uint8_t* apipc_que_attach(apipc_msg_t* message, uint32_t* length) {
  *length = static_cast<uint32_t>(message->body.size());
  return message->body.data();
}

void apipc_que_detach(apipc_msg_t* message, const uint8_t*) {
  delete message;
}

int apipc_send(uint32_t, const void* buffer, uint32_t length) {
  return board().take({static_cast<const uint8_t*>(buffer), length});
}

void apipc_send_all(uint32_t destination, apipc_part_t* parts, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) parts[i].result = apipc_send(destination, parts[i].buffer, parts[i].length);
}

int apipc_connect_chk_task_by_taskid(uint32_t) {
  return board().peersReachable ? 0 : -1;
}

int FPGA_UDP_Init(void) {
  return 0;
}
int Flash_Init(void) {
  return board().faults.next(Op::FlashInit);
}

int WriteFPGABlock(int, uint32_t addr, uint16_t length, const uint8_t* data) {
  return unlessFault(Op::FpgaWrite, [=] { return board().writeFpga(addr, {data, length}); });
}
int ReadFPGABlock(int, uint32_t addr, uint16_t length, uint8_t* data) {
  return unlessFault(Op::FpgaRead, [=] { return board().fpga.read(addr, {data, length}); });
}
int ReadDataFromFlashx(uint32_t addr, uint32_t length, uint8_t* data) {
  return unlessFault(Op::FlashRead, [=] { return board().flash.read(addr, {data, length}); });
}
int WriteDataToFlashx(uint32_t addr, uint32_t length, const uint8_t* data) {
  return unlessFault(Op::FlashWrite, [=] { return board().flash.write(addr, {data, length}); });
}
int board_flash_peek(uint32_t addr, uint32_t length, uint8_t* data) {
  return board().flash.read(addr, {data, length});
}
int WriteDataToFactoryTmpFlashx(uint32_t addr, uint32_t length, const uint8_t* data) {
  return unlessFault(Op::FlashWrite, [=] {
    return board().factoryTmpMade ? board().factoryTmp.write(addr, {data, length}) : -1;
  });
}

int ReadFPGAformRecvCard(int, const RECVCARD_MESG_T* header, uint8_t port, uint8_t* data) {
  return unlessFault(Op::CardRead, [=] {
    constexpr uint32_t kSensorQuery = 0x06000000;
    const size_t length = header->length;
    const uint8_t* const card = board().card(header->DeviceType, port, header->BoardAddr);
    if (card == nullptr) return -1;
    std::fill_n(data, length, uint8_t{0});
    if (header->DeviceType == 2 && header->RegisterAddr == kSensorQuery) {
      sensorAnswer(data, length);
    } else {
      eachPiece(header->RegisterAddr, length,
                [=](size_t at, size_t i, size_t piece) { std::memcpy(data + i, card + at, piece); });
    }
    return 0;
  });
}

int WriteFPGAToRecvCard(int, const RECVCARD_MESG_T* header, uint8_t port, const uint8_t* data) {
  return unlessFault(Op::CardWrite, [=] {
    if (uint8_t* const card = board().card(header->DeviceType, port, header->BoardAddr)) {
      eachPiece(header->RegisterAddr, header->length,
                [=](size_t at, size_t i, size_t piece) { std::memcpy(card + at, data + i, piece); });
    }
    return 0;
  });
}

int board_open(void) {
  return 0;
}

int board_path(const char* device_path, char* out, size_t capacity) {
  const std::string path = board().path(device_path);
  if (path.empty() || path.size() >= capacity) return -1;
  std::memcpy(out, path.c_str(), path.size() + 1);
  return 0;
}

int board_sync_file(int) {
  return 0;
}

int board_system(const char* command) {
  return board().shell(command, nullptr);
}

int board_command_line(const char* command, char* line, size_t capacity) {
  std::string output;
  if (board().shell(command, &output) != 0) return -1;
  return std::snprintf(line, capacity, "%s", output.c_str());
}

int board_clock_get(struct timeval* now) {
  *now = {board().clockUs / 1000000, board().clockUs % 1000000};
  return 0;
}
int board_clock_set(const struct timeval* now) {
  board().clockUs = int64_t{now->tv_sec} * 1000000 + now->tv_usec;
  return 0;
}

int ll_initial(void) {
  return 0;
}
uint32_t ll_find_input_next(uint32_t object) {
  return object < MemoryBoard::kInputs ? object + 1 : 0;
}
int ll_find_input_filter_all(uint32_t object, uint32_t* id) {
  *id = kFirstInputId + object - 1;
  return 1;
}
int ll_get_input_info(uint32_t id, en_if_t* type, uint32_t* capability) {
  *type = kInputTypes[(id - kFirstInputId) % std::size(kInputTypes)];
  *capability = 0;
  return 0;
}
int ll_input_set_edid(uint32_t id, const uint8_t* edid, uint32_t length) {
  return unlessFault(Op::EdidSet, [=] {
    auto* const input = inputOf(id);
    if (input == nullptr || length != MemoryBoard::Edid{}.size()) return -1;
    std::copy_n(edid, length, input->emplace().begin());
    return 0;
  });
}
int ll_input_get_edid(uint32_t id, uint8_t* edid, uint32_t length) {
  return unlessFault(Op::EdidGet, [=] {
    const auto* const input = inputOf(id);
    if (input == nullptr || !*input) return -1;
    std::copy_n((*input)->begin(), std::min<size_t>(length, (*input)->size()), edid);
    return 0;
  });
}
int ll_get_Illuminance_value(int, uint16_t* value) {
  return unlessFault(Op::Light, [=] {
    if (!board().light) return -1;
    *value = *board().light;
    return 0;
  });
}

int netinfo_set_eth_mode(int) {
  return 0;
}
int netinfo_set_curr_ip(const char*, const char*, const char*) {
  return 0;
}
int st_info_op(int, uint32_t, uint32_t, const uint8_t*) {
  return 0;
}

int sysconf_openenv(void) {
  return board().faults.next(Op::EnvOpen);
}
const char* sysconf_getenv(const char* key) {
  if (board().faults.next(Op::EnvGet) != 0) return nullptr;
  const auto found = board().env.find(std::string_view(key));
  return found == board().env.end() ? nullptr : found->second.c_str();
}
int sysconf_setenv(const char* key, const char* value) {
  return unlessFault(Op::EnvSet, [=] {
    board().env[key] = value;
    return 0;
  });
}
void sysconf_closeenv(void) {}

int sysconf_get_date_ymd(char* text) {
  return dateText(text, "%Y-%m-%d");
}
int sysconf_get_date_hms(char* text) {
  return dateText(text, "%H:%M:%S");
}

}  // extern "C"
