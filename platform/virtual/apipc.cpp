// The IPC queue library over the virtual board's bus.
#include "apipc.h"

#include <memory>

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

int apipc_connect_chk_task_by_taskid(uint32_t task) {
  return board().bus->reachable(task) ? 0 : -1;
}

}  // extern "C"
