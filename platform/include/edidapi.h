/* The EDID library: base EDIDs by connector family. */
#ifndef KADREND_PLATFORM_EDIDAPI_H
#define KADREND_PLATFORM_EDIDAPI_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define EDID_OPTION_HDMI 0x0E
#define EDID_OPTION_DVI 0x0F

/* 84 bytes. */
typedef struct edid_request {
  uint32_t option;       /* EDID_OPTION_... */
  char monitor_name[80]; /* NUL-terminated, 13 characters count; empty: the family's own name */
} edid_request_t;

typedef struct edid_api {
  /* Builds a valid 256-byte EDID (two blocks, checksums right). 0, or -1 for an unknown option. */
  int (*generate)(const edid_request_t* request, uint8_t edid[256]);
} edid_api_t;

extern const edid_api_t ModifyEDID_API;

#ifdef __cplusplus
}
#endif
#endif
