#include "linkstate.h"

namespace TIRK_MCUC {

LinkState& linkState() {
  static LinkState state;  // trivially destructible: usable until the process ends
  return state;
}

}  // namespace TIRK_MCUC
