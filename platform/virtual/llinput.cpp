// Input boards and the board's light sensor, as the daemon sees them.
#include "llinput.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "virtual/board.h"
#include "virtual/inputs.h"
#include "virtual/lights.h"

using namespace vboard;

namespace {
// An input object is its slot and one, so that none is 0.
int slotOfObject(uint32_t object) {
  return object >= 1 && object <= Inputs::kSlots ? static_cast<int>(object) - 1 : -1;
}
}  // namespace

extern "C" {

int ll_initial(void) {
  return 0;
}

uint32_t ll_find_input_next(uint32_t object) {
  for (uint32_t next = object; next < Inputs::kSlots; ++next) {
    if (board().inputs->at(static_cast<int>(next))) return next + 1;
  }
  return 0;
}

int ll_find_input_filter_all(uint32_t object, uint32_t* id) {
  const auto input = board().inputs->at(slotOfObject(object));
  if (!input || id == nullptr) return 0;
  *id = input->id;
  return 1;
}

int ll_get_input_info(uint32_t id, en_if_t* type, uint32_t* capability) {
  const auto input = board().inputs->at(board().inputs->slotOf(id));
  if (!input || type == nullptr || capability == nullptr) return -1;
  *type = input->type;
  *capability = 0;
  return 0;
}

int ll_input_set_edid(uint32_t id, const uint8_t* edid, uint32_t length) {
  if (edid == nullptr) return -1;
  const int slot = board().inputs->slotOf(id);
  return board().journal.record(
      [&] {
        return "edid w " + std::to_string(slot) + journalHex({edid, length});
      },
      [&] {
        if (const int fault = board().faults.next(Op::EdidSet); fault != 0) return fault;
        Edid image;
        if (slot < 0 || length != image.size()) return -1;
        std::memcpy(image.data(), edid, image.size());
        return board().inputs->setEdid(slot, image);
      });
}

int ll_input_get_edid(uint32_t id, uint8_t* edid, uint32_t length) {
  if (const int fault = board().faults.next(Op::EdidGet); fault != 0) return fault;
  const auto input = board().inputs->at(board().inputs->slotOf(id));
  if (!input || !input->edid || edid == nullptr) return -1;
  std::memcpy(edid, input->edid->data(), std::min<size_t>(length, input->edid->size()));
  return 0;
}

int ll_get_Illuminance_value(int sensor, uint16_t* value) {
  if (const int fault = board().faults.next(Op::Light); fault != 0) return fault;
  const auto raw = board().lights->board();
  if (sensor != 0 || !raw || value == nullptr) return -1;
  *value = *raw;
  return 0;
}

}  // extern "C"
