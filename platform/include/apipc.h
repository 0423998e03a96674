/* The device's IPC queue library: messages between the tasks of one device.
 *
 * A task identifier is 32 bits: the card position in the top byte, a fixed task number in the low 24. A message is a
 * body of at most 65 564 bytes: a 28-byte envelope (see stub/mcucmessagestruct.h) and a frame.
 * Every operation may be called from any thread. */
#ifndef KADREND_PLATFORM_APIPC_H
#define KADREND_PLATFORM_APIPC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A received message. It is released by apipc_que_detach, and by nothing else. */
typedef struct apipc_msg apipc_msg_t;

/* Called on the thread that runs apipc_loop_wait, once a message. `argument` is the context given there, `length` the
 * body's length. The callee owns the message. The result is not looked at. */
typedef int (*apipc_event_fn)(void* session, void* argument, apipc_msg_t* message, int length);

/* The board's card position, 0..255. */
uint8_t apcard_bit_self(void);

/* Opens the endpoint of `task`. `flags` is 0. 0, or -1 when it cannot be opened. Called once. */
int apipc_init(uint32_t task, int flags);

/* Blocks, receives and hands each message to `callback`. Returns only when the bus fails or before apipc_init: 0 or -1;
 * the caller then calls it again. It sleeps for a while before it returns a failure, so that the caller need not. */
int apipc_loop_wait(void* context, apipc_event_fn callback);

/* How many messages apipc_loop_wait has already taken from the bus and will hand to `callback` after the present one,
 * before it waits again. Within the callback. 0 where messages are taken one by one. */
uint32_t apipc_loop_ahead(void);

/* Puts a message on the process's local queue, which then owns it. Waits while the queue is full. Negative: not taken,
 * the caller still owns it. */
int apipc_enq(apipc_msg_t** message);

/* Takes the oldest message off the local queue; the caller owns it. Never waits. Negative: the queue is empty. */
int apipc_deq(apipc_msg_t** message);

/* The message's body and its length, valid until apipc_que_detach; null when the message is invalid. */
const uint8_t* apipc_que_attach(apipc_msg_t* message, uint32_t* length);

/* Releases the message and with it its body (`body` may be null). */
void apipc_que_detach(apipc_msg_t* message, const uint8_t* body);

/* Sends `length` bytes to the task; to task number 0x070400, to the task that the envelope's first field names. 0, or
 * -1 when there is no such task, its queue stays full for 100 ms, or it is the caller itself: the reply to a request in
 * the daemon's own name would be its next request, without an end. */
int apipc_send(uint32_t destination, const void* buffer, uint32_t length);

/* One of several messages to send, and what became of it. */
typedef struct apipc_part {
  const void* buffer;
  uint32_t length;
  int result; /* set: as apipc_send returns it */
} apipc_part_t;

/* Sends `count` messages to the same destination, in order, as that many calls of apipc_send do. A board whose bus
 * takes several at once spares their receiver a wake-up for each. */
void apipc_send_all(uint32_t destination, apipc_part_t* parts, uint32_t count);

/* 0 when the task can be reached, else -1. */
int apipc_connect_chk_task_by_taskid(uint32_t task);

#ifdef __cplusplus
}
#endif
#endif
