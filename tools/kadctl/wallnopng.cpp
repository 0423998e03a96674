// Takes the place of wallpng.cpp where kadctl is built without cairo.
#include "kadctl/clienterror.h"
#include "kadctl/wallscene.h"

namespace kadctl {

void writePng(const Scene&, const std::string& file) {
  throw ClientError(file + ": this kadctl was built without PNG pictures; --svg writes one");
}

}  // namespace kadctl
