#include "PngChunks.h"

#include "OutputFile.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <string_view>

namespace vindrel::cli {
namespace {

constexpr std::string_view kSignature("\x89PNG\r\n\x1a\n", 8);
constexpr std::size_t kHeadBytes = 8; // length and type
constexpr std::size_t kCheckBytes = 4;
constexpr std::size_t kBeginBytes = 33; // signature and the IHDR chunk, which comes first and has 13 bytes of content

// More than this in one text is no text; it bounds what a damaged length can ask for.
constexpr std::uint32_t kMostBytes = std::uint32_t{16} << 20;

std::uint32_t bigEndian(const char *bytes) {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i)
    value = value << 8 | static_cast<unsigned char>(bytes[i]);
  return value;
}

std::string bigEndian(std::uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes += static_cast<char>(value >> shift & 0xffu);
  return bytes;
}

// The check sum of PNG and zip files, over type and content, bit by bit: texts are short.
std::uint32_t checkSum(std::string_view bytes) {
  std::uint32_t sum = 0xffffffffu;
  for (const char byte : bytes) {
    sum ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit)
      sum = sum >> 1 ^ ((sum & 1u) != 0 ? 0xedb88320u : 0u);
  }
  return ~sum;
}

bool isCopied(std::string_view type) {
  constexpr std::array<std::string_view, 7> kTypes = {"tEXt", "zTXt", "iTXt", "tIME", "gAMA", "cHRM", "sRGB"};
  return std::find(kTypes.begin(), kTypes.end(), type) != kTypes.end();
}

// Content begins with the keyword and a zero byte.
bool wrapsAnotherPart(std::string_view content) {
  constexpr std::array<std::string_view, 2> kWrappers = {"XML:com.adobe.xmp", "Raw profile type "};
  for (const std::string_view start : kWrappers) {
    if (content.substr(0, start.size()) == start) return true;
  }
  return false;
}

} // namespace

std::string readPngChunks(const std::filesystem::path &photo) {
  std::ifstream file(photo, std::ios::binary);
  std::string head(kSignature.size(), '\0');
  std::string chunks;
  if (!file.read(head.data(), static_cast<std::streamsize>(head.size())) || head != kSignature) return chunks;
  head.resize(kHeadBytes);
  while (file.read(head.data(), kHeadBytes)) {
    const std::uint32_t length = bigEndian(head.data());
    const std::string_view type = std::string_view(head).substr(4);
    if (type == "IEND") break;
    if (!isCopied(type)) {
      file.seekg(static_cast<std::streamoff>(length) + kCheckBytes, std::ios::cur);
      continue;
    }
    if (length > kMostBytes) break;
    std::string chunk = head;
    chunk.resize(kHeadBytes + length + kCheckBytes);
    if (!file.read(chunk.data() + kHeadBytes, static_cast<std::streamsize>(length + kCheckBytes))) break;
    const std::string_view checked = std::string_view(chunk).substr(4, 4 + length);
    if (checkSum(checked) != bigEndian(chunk.data() + kHeadBytes + length)) break;
    if (!wrapsAnotherPart(checked.substr(4))) chunks += chunk;
  }
  return chunks;
}

std::string pngChunk(std::string_view type, std::string_view content) {
  std::string chunk = bigEndian(static_cast<std::uint32_t>(content.size()));
  chunk += type;
  chunk += content;
  return chunk + bigEndian(checkSum(std::string_view(chunk).substr(4)));
}

bool insertPngChunks(OutputFile &file, const std::string &chunks) {
  if (chunks.empty()) return true;
  std::string begin(kBeginBytes, '\0');
  if (file.readAt(begin.data(), begin.size(), 0) != begin.size()) return false;
  if (begin.substr(0, kSignature.size()) != kSignature || begin.substr(12, 4) != "IHDR") return false;

  // What follows moves back, its end first; a failed write is remembered by the file.
  std::string block(std::size_t{1} << 20, '\0');
  constexpr std::int64_t kFrom = kBeginBytes;
  for (std::int64_t end = file.size(); end > kFrom && file.good();) {
    const std::int64_t at = std::max(end - static_cast<std::int64_t>(block.size()), kFrom);
    const auto count = static_cast<std::size_t>(end - at);
    if (file.readAt(block.data(), count, at) != count) return false;
    file.writeAt(block.data(), count, at + static_cast<std::int64_t>(chunks.size()));
    end = at;
  }
  file.writeAt(chunks.data(), chunks.size(), kFrom);
  return true;
}

} // namespace vindrel::cli
