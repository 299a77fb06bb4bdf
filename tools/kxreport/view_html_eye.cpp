#include "view_html_eye.h"

#include <algorithm>

namespace {

constexpr double WIDTH = 320;
constexpr double HEIGHT = 160;
constexpr double EDGE = 24;

double real_of(const value& lane, term what) {
  const value* one = lane.find(what);
  return one == nullptr ? 0 : one->real();
}

/// Where an offset lies on an axis: its centre, and half its length for the largest offset.
double place(double centre, double half, double offset, double largest) {
  return largest > 0 ? centre + half * std::clamp(offset / largest, -1.0, 1.0) : centre;
}

}  // namespace

void eye_print(const value& lane, const std::string& name, FILE* out) {
  const double timing = real_of(lane, term::eye_timing_largest);
  const double voltage = real_of(lane, term::eye_voltage_largest);
  const double x = WIDTH / 2;
  const double y = HEIGHT / 2;
  const double left = place(x, WIDTH / 2 - EDGE, -real_of(lane, term::eye_left), timing);
  const double right = place(x, WIDTH / 2 - EDGE, real_of(lane, term::eye_right), timing);
  // A receiver without voltage margining has an eye of no height to tell of: a line.
  const double up = place(y, HEIGHT / 2 - EDGE, -real_of(lane, term::eye_up), voltage);
  const double down = place(y, HEIGHT / 2 - EDGE, real_of(lane, term::eye_down), voltage);
  fprintf(out,
          "<figure><svg class=\"eye\" viewBox=\"0 0 %g %g\" role=\"img\" aria-label=\"eye of lane %s\">"
          "<rect class=\"closed\" x=\"%g\" y=\"%g\" width=\"%g\" height=\"%g\"/>"
          "<polygon class=\"open\" points=\"%.1f,%.1f %.1f,%.1f %.1f,%.1f %.1f,%.1f\"/>"
          "<path class=\"axis\" d=\"M%g %gH%gM%g %gV%g\"/></svg>\n",
          WIDTH, HEIGHT, name.c_str(), EDGE, EDGE, WIDTH - 2 * EDGE, HEIGHT - 2 * EDGE, left, y, x, up, right, y, x,
          down, EDGE, y, WIDTH - EDGE, x, EDGE, HEIGHT - EDGE);
  fprintf(out, "<figcaption>lane %s, within %.3f UI and %.3f V of the centre</figcaption></figure>\n", name.c_str(),
          timing, voltage);
}
