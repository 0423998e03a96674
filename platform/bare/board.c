/* The smallest library that exports platform/include: a board without FPGA, flash, inputs, peers or environment store.
 *
 * Every answer keeps to its contract. KADREND_BOARD names the directory in which the device's paths lie; without it the
 * board is not usable. It shows a porter what there is to fill in, and the build that the list is complete. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "apipc.h"
#include "boardaccess.h"
#include "boardhost.h"
#include "colourcalc.h"
#include "edidapi.h"
#include "llinput.h"
#include "netinfo.h"
#include "stinfo.h"
#include "sysconfenv.h"

#pragma GCC diagnostic ignored "-Wunused-parameter" /* most of what it is given concerns nothing that is there */

enum { kFailed = -1, kNone = 0 };

/* --- boardhost.h */

int board_open(void) {
  if (getenv("KADREND_BOARD") != NULL) return 0;
  fputs("bare board: KADREND_BOARD names no directory\n", stderr);
  return kFailed;
}

int board_path(const char* device_path, char* out, size_t capacity) {
  if (device_path[0] != '/' || strstr(device_path, "..") != NULL) return kFailed;
  const int length = snprintf(out, capacity, "%s%s", getenv("KADREND_BOARD"), device_path);
  return length > 0 && (size_t)length < capacity ? 0 : kFailed;
}

int board_sync_file(int fd) {
  return fdatasync(fd);
}

int board_system(const char* command) {
  return kFailed;
}

int board_command_line(const char* command, char* line, size_t capacity) {
  return kFailed;
}

int board_clock_get(struct timeval* now) {
  return gettimeofday(now, NULL);
}

int board_clock_set(const struct timeval* now) {
  return kFailed;
}

/* --- apipc.h: nobody ever sends. */

uint8_t apcard_bit_self(void) {
  return 1;
}

int apipc_init(uint32_t task, int flags) {
  return 0;
}

int apipc_loop_wait(void* context, apipc_event_fn callback) {
  for (;;) pause();
}

uint32_t apipc_loop_ahead(void) {
  return 0;
}

int apipc_enq(apipc_msg_t** message) {
  return kFailed;
}

int apipc_deq(apipc_msg_t** message) {
  return kFailed;
}

const uint8_t* apipc_que_attach(apipc_msg_t* message, uint32_t* length) {
  *length = 0;
  return NULL;
}

void apipc_que_detach(apipc_msg_t* message, const uint8_t* body) {
}

int apipc_send(uint32_t destination, const void* buffer, uint32_t length) {
  return kFailed;
}

void apipc_send_all(uint32_t destination, apipc_part_t* parts, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) parts[i].result = apipc_send(destination, parts[i].buffer, parts[i].length);
}

int apipc_connect_chk_task_by_taskid(uint32_t task) {
  return kFailed;
}

/* --- boardaccess.h */

int FPGA_UDP_Init(void) {
  return kFailed;
}
int Flash_Init(void) {
  return kFailed;
}

int WriteFPGABlock(int bus, uint32_t addr, uint16_t length, const uint8_t* data) {
  return kFailed;
}

int ReadFPGABlock(int bus, uint32_t addr, uint16_t length, uint8_t* data) {
  return kFailed;
}

int ReadDataFromFlashx(uint32_t addr, uint32_t length, uint8_t* data) {
  return kFailed;
}

int WriteDataToFlashx(uint32_t addr, uint32_t length, const uint8_t* data) {
  return kFailed;
}

int WriteDataToFactoryTmpFlashx(uint32_t addr, uint32_t length, const uint8_t* data) {
  return kFailed;
}

int board_flash_peek(uint32_t addr, uint32_t length, uint8_t* data) {
  return kFailed;
}

int ReadFPGAformRecvCard(int bus, const RECVCARD_MESG_T* header, uint8_t port, uint8_t* data) {
  return kFailed;
}

int WriteFPGAToRecvCard(int bus, const RECVCARD_MESG_T* header, uint8_t port, const uint8_t* data) {
  return kFailed;
}

/* --- sysconfenv.h */

int sysconf_openenv(void) {
  return kFailed;
}

const char* sysconf_getenv(const char* key) {
  return NULL;
}

int sysconf_setenv(const char* key, const char* value) {
  return kFailed;
}

void sysconf_closeenv(void) {}

static int localText(char* text, const char* format) {
  const time_t now = time(NULL);
  struct tm local;
  return localtime_r(&now, &local) != NULL && strftime(text, 32, format, &local) > 0 ? 0 : kFailed;
}

int sysconf_get_date_ymd(char* text) {
  return localText(text, "%Y-%m-%d");
}
int sysconf_get_date_hms(char* text) {
  return localText(text, "%H:%M:%S");
}

/* --- llinput.h */

int ll_initial(void) {
  return 0;
}

uint32_t ll_find_input_next(uint32_t object) {
  return kNone;
}

int ll_find_input_filter_all(uint32_t object, uint32_t* id) {
  return kNone;
}

int ll_get_input_info(uint32_t id, en_if_t* type, uint32_t* capability) {
  return kFailed;
}

int ll_input_set_edid(uint32_t id, const uint8_t* edid, uint32_t length) {
  return kFailed;
}

int ll_input_get_edid(uint32_t id, uint8_t* edid, uint32_t length) {
  return kFailed;
}

int ll_get_Illuminance_value(int sensor, uint16_t* value) {
  return kFailed;
}

/* --- edidapi.h */

static int generateNothing(const edid_request_t* request, uint8_t edid[256]) {
  return kFailed;
}

const edid_api_t ModifyEDID_API = {generateNothing};

/* --- colourcalc.h: a black picture. */

void HDR10GammaCalculation(uint16_t peak_luminance, uint16_t ambient_light, uint8_t brightness, uint8_t bit_width,
                           uint8_t low_grey_effect, uint8_t high_grey_effect, uint8_t table[8192]) {
  memset(table, 0, 8192);
}

void HLGGammaCalculation(uint8_t hlg_class, uint8_t table[8192]) {
  memset(table, 0, 8192);
}

void PictureQualityCalculation(COLORSPACECONVERT kind, uint16_t saturation, uint16_t contrast, uint16_t hue,
                               uint8_t argument, uint8_t block[32]) {
  memset(block, 0, 32);
}

/* --- netinfo.h, stinfo.h */

int netinfo_set_eth_mode(int mode) {
  return kFailed;
}

int netinfo_set_curr_ip(const char* address, const char* netmask, const char* gateway) {
  return kFailed;
}

int st_info_op(int operation, uint32_t address, uint32_t length, const uint8_t* data) {
  return kFailed;
}
