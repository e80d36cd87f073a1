// The six time sources, and above all LTC: libltc's signal through the ring, against libltc's own reading of it.
#include "tests/support/LibLTC.h"
#include "tests/support/RingRig.h"

namespace vurl {

constexpr size_t kLength = 210000;

/// A ring of four channels, of which the first hears what is fed; the others are silent.
struct LTCRig : RingRig {
  explicit LTCRig(int32_t frame_rate) : RingRig(4) {
    for (int i = 1; i < 4; ++i) route(i, -1, -1);
    defaults.setInteger(frame_rate, "frame_rate");
    defaults.setInteger(LTC, "time_source");
    ring->setSampleRate(48000);
  }
  /// Calls until there is a lock, at most `most`; one more than that when there is none.
  int ticks(int most) {
    for (int tick = 1; tick <= most; ++tick) {
      ring->parseLTCTime();
      if (ring->timecodeLock()) return tick;
    }
    return most + 1;
  }
};

TEST(TimeSources, LTCOfAnyQualityIsReadRightOrNotAtAll) {
  constexpr int32_t kRate = 48000, kNone = -1;
  const Samples clean = libltcSignal(25, false, kRate, 2 * kLength);
  std::mt19937 random(1);
  const auto noise = [&random] { return std::uniform_real_distribution<float>(-1, 1)(random); };
  const auto each = [&clean](const std::function<float(float)>& change) {
    Samples changed;
    for (const float sample : clean) changed.push_back(change(sample));
    return changed;
  };
  Samples half_speed, jumping(clean.begin() + 96000, clean.end());
  for (const float sample : clean) half_speed.insert(half_speed.end(), 2, sample);
  jumping.insert(jumping.end(), clean.begin(), clean.begin() + 40000);
  const Samples backwards(clean.rbegin(), clean.rend());
  constexpr float kInfinity = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();
  // clang-format off
  const std::tuple<const char*, Samples, int32_t> cases[] = { // and the rate that is set, or that there is none to read
      {"clean", clean, 1}, {"another rate set", clean, FRAME_RATE_30}, {"a rate without frames", clean, 99},
      {"half speed", half_speed, 1}, {"jumping", jumping, 1},
      {"very low", each([](float x) { return x * 1e-30F; }), 1}, {"some DC", each([](float x) { return x + 0.3F; }), 1},
      {"infinite", each([](float x) { return x * kInfinity; }), 1}, {"no numbers", Samples(kLength, kNaN), kNone},
      {"noisy", each([&](float x) { return x + 0.5F * noise(); }), 1}, {"backwards", backwards, kNone},
      {"all DC", each([](float x) { return x + 1; }), kNone}, {"noise", each([&](float) { return noise(); }), kNone},
      {"drowned", each([&](float x) { return x + 4 * noise(); }), kNone}};
  // clang-format on
  for (const auto& [name, signal, frame_rate] : cases) {
    LTCRig rig(std::max(frame_rate, 1));
    rig.feed(signal);
    EXPECT_EQ(rig.ticks(6) <= 6, frame_rate != kNone) << name;
    if (frame_rate == kNone) continue;
    // libltc wants levels between -1 and 1; the signs are what counts.
    Samples for_libltc;
    for (const float sample : signal) for_libltc.push_back(std::clamp(sample * 1e31F, -0.9F, 0.9F));
    EXPECT_LE(distance(libltcReadings(for_libltc, frame_rate, kRate), rig.ring->timestampAt(0)), 8) << name;
  }
}

TEST(TimeSources, LTCIsSoughtHeldAndDropped) {
  LTCRig rig(FRAME_RATE_25);
  AudioRing& ring = *rig.ring;
  const Samples signal = libltcSignal(25, false, 48000, kLength);
  rig.feed(Samples(signal.begin(), signal.begin() + 191999));
  EXPECT_EQ(rig.ticks(10), 11) << "not enough behind the playback position";
  rig.feed({0.5F});
  EXPECT_EQ(rig.ticks(4), 4) << "channels 1, 2, 3 and then 0";
  EXPECT_EQ(rig.ticks(1), 1) << "and there it stays";
  for (int i = 0; i < 9; ++i) ring.parseLTCTime(); // confidence ends at 5
  const int64_t offset = ring.timestampAt(0);
  rig.feed(Samples(800000, 0));
  for (int i = 1; i <= 5; ++i) {
    EXPECT_TRUE(ring.timecodeLock());
    ring.parseLTCTime();
  }
  EXPECT_FALSE(ring.timecodeLock());
  EXPECT_EQ(ring.timestampAt(0), offset) << "the last time goes on";
}

TEST(TimeSources, LostSamplesAreNoJumpOfLTC) {
  LTCRig rig(FRAME_RATE_25);
  const Samples signal = libltcSignal(25, false, 48000, 600000);
  const auto feed = [&](size_t from, size_t to, uint32_t flags) {
    for (; from < to; from += 4800, flags = 0) {
      AudioTimeStamp stamp;
      stamp.mSampleTime = static_cast<double>(from);
      stamp.mFlags = kAudioTimeStampSampleTimeValid | flags;
      rig.feed(Samples(signal.data() + from, signal.data() + from + 4800), stamp);
      rig.ring->parseLTCTime();
    }
  };
  feed(0, 240000, 0);
  feed(249600, 336000, kAudioTimeStampSamplesLost); // 0.2 s are missing
  feed(96000, 240000, 0);                           // the time has jumped back by 5 s, behind no loss
  std::vector<Incident> found;
  for (Incident incident; rig.ring->takeIncident(incident);) found.push_back(incident);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0], (Incident{Incident::Kind::samples_lost, 240000, 9600}));
  EXPECT_TRUE(found[1].kind == Incident::Kind::time_jump && std::abs(found[1].amount + 240000) < 100);
}

TEST(TimeSources, EachTellsItsOwnTimeOrGoesOnFromTheOneBefore) {
  RingRig rig(1);
  rig.now = {1'700'006'399 - 7200, 500'000, 7200}; // 23:59:59.5 in a zone two hours ahead
  AudioRing& ring = *rig.ring;
  ring.setSampleRate(48000);
  AudioTimeStamp stamp;
  stamp.mSMPTETime = {40, 80, 0, FRAME_RATE_25, 0, 1, 0, 0, 3}; // 172,806,720
  stamp.mWordClockTime = 5000;
  constexpr uint32_t kSMPTE = kAudioTimeStampSMPTETimeValid, kWordClock = kAudioTimeStampWordClockTimeValid;
  // The source chosen, and whether that alone locks; the flags of a cycle of 1,000 samples; the time of position 0 and
  // the lock after it.
  // clang-format off
  const std::tuple<int64_t, bool, uint32_t, int64_t, bool> steps[] = {
      {COREAUDIO_SMPTE, false, ~kSMPTE, 0, false}, {COREAUDIO_SMPTE, false, kSMPTE, 172'805'720, true},
      {COREAUDIO_SMPTE, true, kWordClock, 172'805'720, false}, // the last offset stays
      {COREAUDIO_WORD_CLOCK, false, kSMPTE, 172'805'720, false}, {COREAUDIO_WORD_CLOCK, false, kWordClock, 1000, true},
      {LTC, false, ~0U, 1000, false}, {COREAUDIO_SMPTE, false, 0, 1000, false},
      {COREAUDIO_SMPTE, false, kSMPTE, 172'799'720, true}, {COREAUDIO_WORD_CLOCK, false, ~0U, -3000, true},
      {TIME_OF_DAY, true, ~0U, 4'147'167'000, true}, // read at position 9,000
      {LTC, false, ~0U, 4'147'167'000, false}, {ZERO, true, ~0U, 0, true}, {SESSION, true, ~0U, 0, true},
      {6, false, ~0U, 0, false}, {-1, false, ~0U, 0, false}};
  // clang-format on
  for (const auto& [source, lock_before, flags, time, lock] : steps) {
    const int64_t position = ring.devicePosition();
    rig.defaults.setInteger(source, "time_source");
    EXPECT_EQ(ring.timecodeLock(), lock_before) << position;
    stamp.mFlags = flags;
    rig.feed(Samples(1000), stamp);
    EXPECT_EQ(ring.timestampAt(0), time) << position;
    EXPECT_EQ(ring.timecodeLock(), lock) << position;
  }
}

} // namespace vurl
