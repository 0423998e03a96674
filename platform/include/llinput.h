/* Video input boards and the board's light sensor. */
#ifndef KADREND_PLATFORM_LLINPUT_H
#define KADREND_PLATFORM_LLINPUT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Interface type of an input board. */
typedef enum en_if_t {
  EN_IF_T_DVI = 0,
  EN_IF_T_DDVI = 1,
  EN_IF_T_HDMI14 = 2,
  EN_IF_T_SDI3G = 3,
  EN_IF_T_VGA = 4
} en_if_t;

int ll_initial(void); /* 0 on success; enumerates the boards anew */

/* The input object that follows `object` in slot order, 0 to start; 0 at the end. */
uint32_t ll_find_input_next(uint32_t object);

/* Non-zero when the object is an input board; its identifier goes to `id`. */
int ll_find_input_filter_all(uint32_t object, uint32_t* id);

int ll_get_input_info(uint32_t id, en_if_t* type, uint32_t* capability); /* 0 on success */

/* Loads the EDID that input `id` presents (`length` 256), or reads it back (at most `length` bytes; an input into
 * which none was loaded fails). 0 on success. */
int ll_input_set_edid(uint32_t id, const uint8_t* edid, uint32_t length);
int ll_input_get_edid(uint32_t id, uint8_t* edid, uint32_t length);

/* The board's light sensor (0): bit 15 says that the value is valid, bits 14..0 are half the lux. 0 on success. */
int ll_get_Illuminance_value(int sensor, uint16_t* value);

#ifdef __cplusplus
}
#endif
#endif
