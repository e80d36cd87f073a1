// What the tests share that disturb takes at random, in rounds. VURL_TORTURE=ROUNDS:SEED runs more of them by hand.
#pragma once

#include "tests/system/Workbench.h"

namespace vurl {

struct HardTimes : testing::Test {
  explicit HardTimes(int usual_rounds) : rounds(usual_rounds) {
    unsigned seed = 1;
    if (const char* const wish = std::getenv("VURL_TORTURE")) std::sscanf(wish, "%d:%u", &rounds, &seed);
    random.seed(seed);
  }

  int upTo(int largest) { return std::uniform_int_distribution(0, largest)(random); }

  /// That another program reads the whole of the file at `path` without a complaint.
  static void expectReadable(const std::string& path, const Words& options) {
    Words words = {"ffmpeg", "-nostdin"};
    words.insert(words.end(), options.begin(), options.end());
    words.insert(words.end(), {"-i", path, "-f", "null", "-"});
    Program other(words);
    EXPECT_EQ(other.wait(), 0);
    EXPECT_EQ(other.errors(), "");
  }

  int rounds;
  std::mt19937 random;
};

} // namespace vurl
