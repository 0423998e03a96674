// The IPC queue library over the virtual board's bus.
#include "apipc.h"

#include <memory>
#include <span>

#include "virtual/board.h"
#include "virtual/bus.h"

using vboard::board;

extern "C" {

uint8_t apcard_bit_self(void) {
  return board().config.cardPosition;
}

int apipc_init(uint32_t task, int flags) {
  return flags == 0 ? board().bus->open(task) : -1;
}

int apipc_loop_wait(void* context, apipc_event_fn callback) {
  return board().bus->receive(context, callback);
}

uint32_t apipc_loop_ahead(void) {
  return static_cast<uint32_t>(board().bus->ahead());
}

int apipc_enq(apipc_msg_t** message) {
  if (message == nullptr || *message == nullptr) return -1;
  board().bus->queue.put(std::unique_ptr<apipc_msg_t>(*message));
  *message = nullptr;
  return 0;
}

int apipc_deq(apipc_msg_t** message) {
  if (message == nullptr) return -1;
  *message = board().bus->queue.take().release();
  return *message == nullptr ? -1 : 0;
}

const uint8_t* apipc_que_attach(apipc_msg_t* message, uint32_t* length) {
  if (message == nullptr || message->body.empty()) return nullptr;
  if (length != nullptr) *length = static_cast<uint32_t>(message->body.size());
  return message->body.data();
}

void apipc_que_detach(apipc_msg_t* message, const uint8_t*) {
  const std::unique_ptr<apipc_msg_t> released(message);
}

int apipc_send(uint32_t destination, const void* buffer, uint32_t length) {
  if (buffer == nullptr) return -1;
  const vboard::Bytes message(static_cast<const uint8_t*>(buffer), length);
  const uint32_t receiver = vboard::Bus::receiver(destination, message);
  const int result = board().journal.record(
      [&] { return "ipc s " + vboard::journalAddress(receiver) + vboard::journalHex(message); },
      [&] { return board().bus->send(receiver, message, board().faults.next(vboard::Op::IpcSend)); });
  board().activity.touch();
  return result;
}

void apipc_send_all(uint32_t destination, apipc_part_t* parts, uint32_t count) {
  const auto singly = [] { return board().journal.on() || board().faults.armed(); };  // they look at each message
  for (std::span<apipc_part_t> rest(parts, count); !rest.empty();) {
    size_t taken = singly() ? 0 : board().bus->sendAtOnce(destination, rest);
    if (taken == 0) {
      rest[0].result = apipc_send(destination, rest[0].buffer, rest[0].length);
      taken = 1;
    }
    rest = rest.subspan(taken);
  }
}

int apipc_connect_chk_task_by_taskid(uint32_t task) {
  return board().bus->reachable(task) ? 0 : -1;
}

}  // extern "C"
