#include <cairo.h>
#include <fontconfig/fontconfig.h>

#include <cmath>
#include <memory>

#include "kadctl/clienterror.h"
#include "kadctl/wallscene.h"

namespace kadctl {

namespace {

struct CairoPainter {
  cairo_t* cairo;

  void colour(const Colour& c) const { cairo_set_source_rgb(cairo, c.red, c.green, c.blue); }
  void stroke(const Colour& c, double width, bool dashed) const {
    static constexpr double kDash[] = {4, 3};
    cairo_set_dash(cairo, kDash, dashed ? 2 : 0, 0);
    cairo_set_line_width(cairo, width);
    colour(c);
    cairo_stroke(cairo);
  }
  void operator()(const Rectangle& r) const {
    cairo_rectangle(cairo, r.x, r.y, r.width, r.height);
    if (r.opacity > 0) {
      colour(r.fill);
      cairo_fill_preserve(cairo);
    }
    if (r.strokeWidth > 0) stroke(r.stroke, r.strokeWidth, r.dashed);
    cairo_new_path(cairo);
  }
  void operator()(const Line& line) const {
    cairo_set_line_join(cairo, CAIRO_LINE_JOIN_ROUND);
    for (const auto& [x, y] : line.points) cairo_line_to(cairo, x, y);
    stroke(line.colour, line.width, false);
  }
  void operator()(const Disc& disc) const {
    cairo_arc(cairo, disc.x, disc.y, disc.radius, 0, 2 * M_PI);
    colour(disc.fill);
    cairo_fill_preserve(cairo);
    stroke(disc.stroke, 1.5, false);
  }
  void operator()(const Label& label) const {
    cairo_select_font_face(cairo, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                           label.bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cairo, label.size);
    double x = label.x;
    if (label.centred) {
      cairo_text_extents_t extents;
      cairo_text_extents(cairo, label.text.c_str(), &extents);
      x -= extents.width / 2 + extents.x_bearing;
    }
    cairo_move_to(cairo, x, label.y);
    colour(label.colour);
    cairo_show_text(cairo, label.text.c_str());
    cairo_new_path(cairo);
  }
};

// Cairo keeps the fonts that it has used for the next picture, and fontconfig what it knows of them. There is none.
struct FontsOfOnePicture {
  FontsOfOnePicture() = default;
  FontsOfOnePicture(const FontsOfOnePicture&) = delete;
  FontsOfOnePicture& operator=(const FontsOfOnePicture&) = delete;
  ~FontsOfOnePicture() {
    cairo_debug_reset_static_data();
    FcFini();
  }
};

}  // namespace

void writePng(const Scene& scene, const std::string& file) {
  const FontsOfOnePicture fonts;  // gone after what uses them
  const std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t*)> surface(
      cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(std::ceil(scene.width)),
                                 static_cast<int>(std::ceil(scene.height))),
      cairo_surface_destroy);
  const std::unique_ptr<cairo_t, void (*)(cairo_t*)> cairo(cairo_create(surface.get()), cairo_destroy);
  for (const Shape& shape : scene.shapes) std::visit(CairoPainter{cairo.get()}, shape);
  const cairo_status_t status = cairo_surface_write_to_png(surface.get(), file.c_str());
  if (status != CAIRO_STATUS_SUCCESS) throw ClientError(file + ": " + cairo_status_to_string(status));
}

}  // namespace kadctl
