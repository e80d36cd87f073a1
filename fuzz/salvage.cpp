// A take file that may have been cut off, with a repair that may have been begun before. The input: 4 bytes that make
// the length behind the header, 4 of how the disk looks, the header's last 16 bytes, and then its first ones; all
// between is zero.
#include "files/Salvage.h"

#include "files/BWFUtils.h"
#include "files/CutHeader.h"
#include "files/HeaderJournal.h"
#include "files/utils.h"
#include "fuzz/Rig.h"

#include <unistd.h>

#include <algorithm>
#include <array>

namespace vurl::fuzz {
namespace {

using Block = std::vector<uint8_t>;

constexpr size_t kTail = 16;
constexpr size_t kHead = 8 + kTail;

/// The journal beside the file: none, one that was not written to its end, one that says something else than follows
/// from the file, one that tells of a repair cut off in the middle.
enum Journal { none, torn, wrong, honest };
constexpr std::array<Journal, 8> kJournals{none, none, none, none, none, torn, wrong, honest};
constexpr uint32_t kHeaderAlone = 4; ///< below it nothing is written to a file: most inputs only are headers

struct Disk {
  Block block;
  int64_t file_size;
  bool is_file;
  Journal journal;
  uint32_t where; ///< in the journal: how much was written, which byte is wrong, which sectors had come to disk
};

Disk diskOf(const uint8_t* data, size_t size) {
  uint32_t length = 0;
  get_uint32_le(data, 0, length);
  uint32_t where = 0;
  get_uint32_le(data, 4, where);
  const uint32_t kind = where & 7U;
  Disk disk{Block(kHeaderSize), 0, kind >= kHeaderAlone, kJournals[kind], where >> 8};
  disk.file_size = kHeaderSize + (int64_t{length} << (where >> 3 & 7U));
  const size_t first = std::min(size - kHead, disk.block.size() - kTail);
  std::copy_n(data + kHead, first, disk.block.begin());
  std::copy_n(data + 8, kTail, disk.block.end() - kTail);
  return disk;
}

std::string_view whole(const Block& block) { return characters(block.data(), block.size()); }

/// What a header promises that can be completed. Returns it completed.
Block checkHeader(const CutHeader& header, const Disk& disk, const UserDefaults& defaults) {
  require(header.nrFrames() > 0 && header.wholeSize() > kHeaderSize, "there are whole frames");
  require(header.wholeSize() <= disk.file_size && disk.file_size - header.wholeSize() < 256,
          "the whole frames are those of the file");
  Block completed = disk.block;
  header.complete(completed.data(), defaults);
  require(!CutHeader::read(completed.data(), header.wholeSize()), "a completed header is complete");
  constexpr auto kFormat = std::pair{48, 72}; // of a Broadcast Wave file; in a CAF file the format and the marker
  const auto from = header.isCAF() ? 0 : kFormat.first;
  require(std::equal(disk.block.begin() + from, disk.block.begin() + kFormat.second, completed.begin() + from),
          "the format stays");
  if (!header.isCAF()) {
    uint32_t told = 0;
    get_uint32_le(completed.data(), kHeaderSize - 4, told);
    require(told == static_cast<uint32_t>(header.wholeSize() - kHeaderSize), "the header tells of the whole frames");
  }
  return completed;
}

/// Writes the journal, and into `disk` what the repair had already done.
void beginRepair(Disk& disk, const Block& completed, int64_t whole_size, const ScratchFile& file) {
  HeaderJournal::Entry entry{disk.block, completed, whole_size};
  if (disk.journal == wrong && disk.where % 8 == 0) entry.whole_size -= disk.where;
  if (disk.journal == wrong) entry.new_block[disk.where % entry.new_block.size()] ^= 0xFFU;
  require(HeaderJournal(file.path()).write(entry) == 0, "a journal can be written");
  const std::string name = file.path().substr(0, file.path().size() - 8) + ".take.wav.repair";
  const bool is_cut = disk.journal != torn || truncate(name.c_str(), disk.where % (2 * kHeaderSize + 24)) == 0;
  require(is_cut, "a journal can be cut short");
  if (disk.journal != honest) return;
  for (size_t sector = 0; sector < disk.block.size() / 512; ++sector) {
    const auto at = static_cast<std::ptrdiff_t>(sector * 512);
    const size_t bit = sector == 255 ? 1 : sector == 0 ? 0 : 2 + sector % 16;
    if ((disk.where >> bit & 1U) != 0) std::copy_n(completed.begin() + at, 512, disk.block.begin() + at);
  }
}

void checkSalvage(Disk disk, const UserDefaults& defaults) {
  const auto header = CutHeader::read(disk.block.data(), disk.file_size);
  const Block completed = header ? checkHeader(*header, disk, defaults) : disk.block;
  if (!disk.is_file) return;
  static const ScratchFile file("take.wav");
  const HeaderJournal journal(file.path());
  journal.remove();
  const int64_t whole_size = header ? header->wholeSize() : disk.file_size;
  if (disk.journal != none) beginRepair(disk, completed, whole_size, file);
  file.write(whole(disk.block), disk.file_size);

  salvageFile(file.path(), defaults, true);
  require(file.size() == disk.file_size && file.read(kHeaderSize) == whole(disk.block), "a dry run writes nothing");
  require(journal.exists() == (disk.journal != none), "a dry run keeps the journal");

  const Salvage::Outcome outcome = salvageFile(file.path(), defaults, false).outcome;
  require(outcome == (header ? Salvage::Outcome::completed : Salvage::Outcome::none), "what was cut off is completed");
  require(file.read(kHeaderSize) == whole(completed), "a header is completed, or stays");
  require(file.size() == whole_size, "no whole frame is lost");
  require(!journal.exists() || disk.file_size == kHeaderSize, "a journal goes with the repair");
  require(salvageFile(file.path(), defaults, false).outcome == Salvage::Outcome::none, "a repair is done once");
}

} // namespace
} // namespace vurl::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const vurl::UserDefaults defaults;
  if (size >= vurl::fuzz::kHead) vurl::fuzz::checkSalvage(vurl::fuzz::diskOf(data, size), defaults);
  return 0;
}
