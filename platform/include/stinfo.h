/* The platform's status store: register values that other daemons look up. */
#ifndef KADREND_PLATFORM_STINFO_H
#define KADREND_PLATFORM_STINFO_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* operation 1: store `length` bytes as the value of the register `address`. 0 on success. */
int st_info_op(int operation, uint32_t address, uint32_t length, const uint8_t* data);

#ifdef __cplusplus
}
#endif
#endif
