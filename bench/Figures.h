// What the programs of this folder share that compare two works with each other on a busy machine: every repetition
// runs all works in turn, and a ratio is taken within a repetition. The figures go to standard output and, as lines
// with tabs, to the end of the file that the environment names in VURL_BENCH_TABLE:
//   row   work   figure   reach   value   spread
//   grow  table  x        value   unit
//   why   table  what governs the growth
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace vurl {

/// Nine, or one where the environment sets VURL_BENCH_QUICK, which asks whether all of it runs.
inline int repetitions() {
  static const int number = std::getenv("VURL_BENCH_QUICK") == nullptr ? 9 : 1;
  return number;
}

/// The middle of some figures, and between which the middle half of them lies.
struct Figure {
  double median = 0, low = 0, high = 0;

  explicit Figure(std::vector<double> figures) {
    std::sort(figures.begin(), figures.end());
    const auto at = [&](size_t quarter) { return figures[(figures.size() - 1) * quarter / 4]; };
    low = at(1), median = at(2), high = at(3);
  }
};

/// Seconds for which `work` kept its thread at work: what other programs take away does not count.
inline double secondsOf(const std::function<void()>& work) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  const double begin = now();
  work();
  return now() - begin;
}

/// The seconds of each of `works`, in repetitions() rounds through all of them behind one that warms up.
inline std::vector<std::vector<double>> measureInTurn(const std::vector<std::function<void()>>& works) {
  std::vector<std::vector<double>> seconds(works.size());
  for (int repetition = -1; repetition < repetitions(); ++repetition) {
    for (size_t i = 0; i < works.size(); ++i) {
      const double measured = secondsOf(works[i]);
      if (repetition >= 0) seconds[i].push_back(measured);
    }
  }
  return seconds;
}

/// `scale` x above / below, repetition by repetition.
inline Figure ratio(const std::vector<double>& above, const std::vector<double>& below, double scale = 1) {
  std::vector<double> ratios;
  for (size_t i = 0; i < above.size(); ++i) ratios.push_back(scale * above[i] / below[i]);
  return Figure(std::move(ratios));
}

inline void tell(const std::string& line) {
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
  const char* const name = std::getenv("VURL_BENCH_TABLE");
  if (name == nullptr) return;
  if (FILE* const table = std::fopen(name, "a")) {
    std::fprintf(table, "%s\n", line.c_str());
    std::fclose(table);
  }
}

inline std::string printed(double value) {
  char text[32];
  std::snprintf(text, sizeof text, value < 10 ? "%.2f" : value < 100 ? "%.1f" : "%.0f", value);
  return text;
}

inline void tellRow(const std::string& work, const std::string& name, const std::string& reach, const Figure& figure) {
  tell("row\t" + work + "\t" + name + "\t" + reach + "\t" + printed(figure.median) + "\t" + printed(figure.low) +
       " to " + printed(figure.high));
}

inline void tellGrowth(const std::string& table, const std::string& x, double value, const std::string& unit) {
  tell("grow\t" + table + "\t" + x + "\t" + printed(value) + "\t" + unit);
}

inline void tellReason(const std::string& table, const std::string& why) { tell("why\t" + table + "\t" + why); }

} // namespace vurl
