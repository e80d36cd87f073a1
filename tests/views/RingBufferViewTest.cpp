#include "views/RingBufferView.h"

#include "engine/AudioRing.h"
#include "files/OutputFile.h"

#include <gtest/gtest.h>

#include <QtGui/QImage>
#include <numbers>

namespace vurl {

constexpr int kScale = 10; ///< pixels a point of the picture, which is 40 points wide
constexpr int64_t kTurns = 5 * int64_t{AudioRing::kRingSamples};

/// A ring position in degrees behind three o'clock, clockwise.
int64_t at(double degrees) { return kTurns + std::llround(degrees / 360 * AudioRing::kRingSamples); }

/// The stretch of the circle that has the colour, in steps of ten degrees: "[from, to)"; several joined.
std::string coloured(const QImage& image, QRgb colour, double radius) {
  std::string stretches;
  bool inside = false;
  for (int degrees = 0; degrees <= 360; degrees += 10) {
    const double angle = (degrees + 5) * std::numbers::pi / 180, middle = image.width() / 2.0;
    const bool is_coloured =
        degrees < 360 && image.pixel(static_cast<int>(middle + radius * kScale * std::cos(angle)),
                                     static_cast<int>(middle + radius * kScale * std::sin(angle))) == colour;
    if (is_coloured != inside) stretches += std::to_string(degrees) + (inside ? " " : "-");
    inside = is_coloured;
  }
  return stretches;
}

TEST(RingBufferViewTest, ShowsWhatLiesBetweenTheDeviceAndTheFiles) {
  constexpr QRgb kBlue = qRgb(77, 153, 255), kRed = qRgb(255, 64, 64), kYellow = qRgb(255, 217, 51);
  constexpr int64_t kNone = INT64_MIN;
  // the state; device, recording, playback and border; colour and where it is
  const std::tuple<const char*, int32_t, std::array<int64_t, 4>, QRgb, std::string> cases[] = {
      {"pre-record", OutputFile::IDLE, {at(90), at(0), 0, kNone}, kBlue, "0-90 "},
      {"over the ring's end", OutputFile::IDLE, {at(400), at(340), 0, kNone}, kBlue, "0-40 340-360 "},
      {"backlog", OutputFile::RUNNING_RECORDING, {at(200), at(120), 0, kNone}, kRed, "120-200 "},
      {"up to the border", OutputFile::BORDER_RECORDING, {at(200), at(120), 0, at(160)}, kRed, "120-160 "},
      {"more than the ring", OutputFile::RUNNING_RECORDING, {at(400), at(0), 0, kNone}, kRed, "0-360 "},
      {"read ahead", OutputFile::RUNNING_PLAYBACK, {at(30), at(0), at(300), kNone}, kYellow, "30-300 "},
      {"played out", OutputFile::BORDER_PLAYBACK, {at(30), at(0), at(20), kNone}, kYellow, ""}};
  for (const auto& [what, state, positions, colour, stretch] : cases) {
    SCOPED_TRACE(what);
    RingBufferView view;
    view.resize(40 * kScale, 40 * kScale);
    view.setDevicePosition(positions[0]);
    view.setRecordingPosition(positions[1]);
    view.setPlaybackPosition(positions[2]);
    view.setBorderPosition(positions[3]);
    view.setState(state);
    const QImage image = view.grab().toImage().scaled(view.size());
    for (const double radius : {12.5, 19.5}) EXPECT_EQ(coloured(image, colour, radius), stretch);
    EXPECT_EQ(coloured(image, colour, 5.5).empty(), stretch.empty()); // the stroke is 15 wide
    EXPECT_EQ(coloured(image, colour, 4.5), "");
  }
}

} // namespace vurl
