#include "metadata/MetaData.h"
#include "metadata/RateTexts.h"
#include "platform/Text.h"

#include <string>
#include <string_view>

namespace vurl {

/// One token of a name format, for example "%3t".
struct MetaData::Token {
  std::string_view whole;  ///< as it stands in the format
  std::string_view letter; ///< one character; none when the format ended before it
  int32_t width = 0;       ///< the digit before the letter; 0: none
};

namespace {

/// Takes the first character off `string`, which is not empty.
std::string_view takeCharacter(std::string_view& string) {
  const std::string_view character = firstCodePoints(string, 1);
  string.remove_prefix(character.size());
  return character;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

/// `string` with one "_" for each character that does not suit a file name everywhere.
std::string cleaned(std::string_view string) {
  constexpr std::string_view kMarks = "-_.";
  std::string clean;
  while (!string.empty()) {
    const char c = takeCharacter(string).front();
    clean += isLetter(c) || isDigit(c) || kMarks.find(c) != std::string_view::npos ? c : '_';
  }
  return clean;
}

std::string padded(int64_t number, int32_t width) { return text("%0*d", width, number); }

/// `field`, or the integer that it begins with in `width` digits when there are both.
std::string paddedField(const std::string& field, int32_t width) {
  const int64_t number = leadingInteger(field);
  return width > 0 && number != 0 ? padded(number, width) : field;
}

const char* extension(int32_t file_format) {
  return file_format == MetaData::kCAF ? "caf" : file_format == MetaData::kBWF ? "wav" : "txt";
}

} // namespace

std::string MetaData::stringWithFormat(std::string_view format, bool for_filename, uint32_t file_nr) const {
  std::string expanded;
  while (!format.empty()) {
    const std::string_view begin = format;
    const std::string_view character = takeCharacter(format);
    if (character != "%") {
      expanded += character;
      continue;
    }
    Token token;
    if (!format.empty() && isDigit(format.front())) token.width = takeCharacter(format).front() - '0';
    if (!format.empty()) token.letter = takeCharacter(format);
    token.whole = begin.substr(0, begin.size() - format.size());
    expanded += expandToken(token, for_filename, file_nr);
  }
  return for_filename ? cleaned(expanded) : expanded;
}

std::string MetaData::expandToken(const Token& token, bool for_filename, uint32_t file_nr) const {
  if (token.letter.empty()) return std::string(token.whole);
  switch (token.letter.size() == 1 ? token.letter.front() : '\0') {
  case '%': return "%";
  case 'C': return piece_count >= 2 ? text("-%i", piece_count) : "";
  case 'F': return rateTexts(frame_rate).token;
  case 'H': return originationDateString("%H");
  case 'M': return originationDateString("%M");
  case 'S': return originationDateString("%S");
  case 'y': return originationDateString("%Y");
  case 'm': return originationDateString("%m");
  case 'd': return originationDateString("%d");
  case 'N':
    // In the file name's own format this token would never end.
    return for_filename ? "%N" : stringWithFormat(defaults->stringForKey("filename_format"), true, file_nr);
  case 'T': return timestampString();
  case 'c': return trackWord(static_cast<int32_t>(file_nr));
  case 'f': return padded(int64_t{file_nr} + 1, token.width);
  case 'p': return texts.project;
  case 's': return paddedField(texts.scene, token.width);
  case 'l': return paddedField(texts.slate, token.width);
  case 't': return paddedField(texts.take, token.width);
  case 'r': return paddedField(texts.roll, token.width);
  case 'n': return texts.note;
  default: return "%" + std::string(token.letter);
  }
}

/// What `file` carries, in a word; more than three tracks go without.
std::string MetaData::trackWord(int32_t file) const {
  switch (nrTracksForFile(file)) {
  case 0: return "empty";
  case 1: return nameForChannel(BitFind(&slot(file).channel_mask, kMaximumChannels, 0));
  case 2: return "stereo";
  case 3: return "poly";
  default: return "";
  }
}

std::string MetaData::filenameForFile(int32_t file) const {
  if (!slot(file).filename.empty()) return slot(file).filename;
  const std::string format = defaults->stringForKey("filename_format");
  const std::string& path = pathForFolder(folderForFile(file));
  const std::string base = stringWithFormat(format, true, static_cast<uint32_t>(file));
  const std::string counter = piece_count != 1 ? text("-nr%i", piece_count) : "";
  const bool numbered = format.find("%f") != std::string::npos || nr_files < 2;
  const std::string number = numbered ? "" : text("-f%02i", int64_t{file} + 1);
  return expandTilde(text("%@/%@%@%@.%@", path, base, number, counter, extension(file_format)));
}

std::string MetaData::csvFilename() const {
  const std::string base = stringWithFormat(defaults->stringForKey("csv_filename_format"), true, 0);
  return expandTilde(text("%@/%@.csv", defaults->stringForKey("csv_folder"), base));
}

} // namespace vurl
