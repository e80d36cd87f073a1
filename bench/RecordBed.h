// A ring and the engine that writes its takes to a RAM disk, without a thread: the benchmark says how cycles and passes
// follow one another.
#pragma once

#include "bench/RingBed.h"
#include "files/OutputFile.h"
#include "tests/support/TemporaryFolder.h"

#include <cstdlib>

namespace vurl {

/// Folders are made on the RAM disk from now on.
inline void useRamDisk() { setenv("TMPDIR", "/dev/shm", 1); }

struct RecordShape {
  uint32_t nr_channels = 64;
  uint32_t nr_files = 1; ///< one holds all channels; of several each holds one, in turn
  int32_t rate = 48000;
  uint32_t cycle_length = 256;
};

inline void routeIntoFiles(UserDefaults& defaults, const RecordShape& shape, const std::string& folder) {
  defaults.setInteger(shape.nr_channels, "nr_channels");
  defaults.setInteger(shape.nr_files, "nr_files");
  defaults.setInteger(1, "nr_folders");
  defaults.setInteger(INTEGER24, "bit_depth");
  defaults.setInteger(MetaData::kBWF, "file_format");
  defaults.setInteger(0, "pre_record_time");
  defaults.setObject(folder, "path_for_folder00");
  defaults.setObject(std::string("take%t%F"), "filename_format");
  for (uint32_t i = 0; i < shape.nr_channels || i < shape.nr_files; ++i)
    defaults.setBool(true, text("channel%02i_in_file%03i", i % shape.nr_channels, shape.nr_files == 1 ? 0 : i));
}

class RecordBed {
public:
  explicit RecordBed(const RecordShape& record_shape) : shape(record_shape) {
    routeIntoFiles(bed.defaults, shape, folder.path.string());
    bed.ring.setSampleRate(shape.rate);
    engine.startWith();
    engine.processingPass();
  }

  bool isRecording() const { return engine.state() == OutputFile::RUNNING_RECORDING; }

  void runCycles(int64_t frames) {
    for (int64_t done = 0; done < frames; done += shape.cycle_length) bed.cycle();
  }

  void pass() { engine.processingPass(); }

private:
  const RecordShape shape;
  TemporaryFolder folder;
  RingBed bed{shape.nr_channels, shape.cycle_length};
  PosixFileLayer file_layer;
  OutputFile engine{bed.ring, bed.defaults, file_layer, nullptr};
};

} // namespace vurl
