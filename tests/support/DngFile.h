// A raw file of a camera, in the smallest form of Adobe's Digital Negative (version 1.4): one directory of TIFF tags,
// one strip of uncompressed 16-bit samples behind red, green, green and blue filters, and an Exif directory. The
// camera's colours are linear sRGB, so that what is developed can be compared with the scene.
#pragma once

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace vindrel::test {

struct DngScene {
  int width = 0; // even, as is the height
  int height = 0;
  std::vector<std::uint16_t> linear; // three samples a pixel, packed; of 65535 the sensor is saturated
  int orientation = 1;
};

class DngFile {
public:
  explicit DngFile(const DngScene &scene) {
    text(0x010f, "Nobody");
    text(0x0110, "Raw 1");
    longs(0x00fe, {0});
    longs(0x0100, {static_cast<std::uint32_t>(scene.width)});
    longs(0x0101, {static_cast<std::uint32_t>(scene.height)});
    shorts(0x0102, {16});
    shorts(0x0103, {1});     // not compressed
    shorts(0x0106, {32803}); // a filter mosaic
    shorts(0x0112, {static_cast<std::uint16_t>(scene.orientation)});
    shorts(0x0115, {1});
    longs(0x0116, {static_cast<std::uint32_t>(scene.height)});
    longs(0x0117, {static_cast<std::uint32_t>(scene.width * scene.height * 2)});
    shorts(0x011c, {1});
    shorts(0x828d, {2, 2});
    bytes(0x828e, {0, 1, 1, 2});
    bytes(0xc612, {1, 4, 0, 0});
    bytes(0xc613, {1, 1, 0, 0});
    text(0xc614, "Nobody Raw 1");
    longs(0xc61d, {65535}); // white
    // From XYZ under D65 to linear sRGB, in ten thousandths.
    signedRationals(0xc621, {32405, -15371, -4985, -9693, 18760, 416, 556, -2040, 10572}, 10000);
    rationals(0xc628, {1, 1, 1, 1, 1, 1}); // white as shot
    shorts(0xc65a, {21});                  // D65

    DngFile exif;
    exif.rationals(0x829a, {1, 60});
    exif.rationals(0x829d, {56, 10});
    exif.shorts(0x8827, {400});
    exif.text(0x9003, "2024:05:01 12:30:00");
    longs(0x8769, {0}); // the places of both are known when the directory is complete
    longs(0x0111, {0});
    const std::uint32_t exifAt = kDirectoryAt + size();
    const std::uint32_t pixelsAt = exifAt + exif.size();
    entryOf(0x8769).content = little(exifAt, 4);
    entryOf(0x0111).content = little(pixelsAt, 4);

    file_ = std::string("II*\0", 4) + little(kDirectoryAt, 4) + written(kDirectoryAt) + exif.written(exifAt);
    for (int y = 0; y < scene.height; ++y) {
      for (int x = 0; x < scene.width; ++x) {
        const int channel = y % 2 + x % 2;
        file_ += little(scene.linear[static_cast<std::size_t>((y * scene.width + x) * 3 + channel)], 2);
      }
    }
  }

  void save(const std::string &path) const {
    std::ofstream file(path, std::ios::binary);
    file.write(file_.data(), static_cast<std::streamsize>(file_.size()));
    if (!file) throw std::runtime_error("cannot write " + path);
  }

private:
  static constexpr std::uint32_t kDirectoryAt = 8;

  struct Entry {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint32_t count;
    std::string content;
  };

  DngFile() = default;

  static std::string little(std::uint32_t value, int byteCount) {
    std::string text;
    for (int i = 0; i < byteCount; ++i)
      text += static_cast<char>(value >> (8 * i) & 0xffu);
    return text;
  }

  void text(std::uint16_t tag, const std::string &value) {
    add({tag, 2, static_cast<std::uint32_t>(value.size() + 1), value + '\0'});
  }
  void bytes(std::uint16_t tag, const std::vector<std::uint32_t> &values) { add(tag, 1, 1, values); }
  void shorts(std::uint16_t tag, const std::vector<std::uint32_t> &values) { add(tag, 3, 2, values); }
  void longs(std::uint16_t tag, const std::vector<std::uint32_t> &values) { add(tag, 4, 4, values); }
  void rationals(std::uint16_t tag, const std::vector<std::uint32_t> &values) {
    add(tag, 5, 4, values);
    entryOf(tag).count /= 2;
  }
  void signedRationals(std::uint16_t tag, const std::vector<int> &values, std::uint32_t over) {
    std::vector<std::uint32_t> pairs;
    for (const int value : values) {
      pairs.push_back(static_cast<std::uint32_t>(value));
      pairs.push_back(over);
    }
    add(tag, 10, 4, pairs);
    entryOf(tag).count /= 2;
  }

  void add(std::uint16_t tag, std::uint16_t type, int byteCount, const std::vector<std::uint32_t> &values) {
    Entry entry = {tag, type, static_cast<std::uint32_t>(values.size()), {}};
    for (const std::uint32_t value : values)
      entry.content += little(value, byteCount);
    add(entry);
  }
  void add(const Entry &entry) { entries_.push_back(entry); }

  Entry &entryOf(std::uint16_t tag) {
    return *std::find_if(entries_.begin(), entries_.end(), [tag](const Entry &entry) { return entry.tag == tag; });
  }

  // Values of more than four bytes stand behind the directory, each at an even place.
  std::uint32_t size() const {
    std::size_t total = 2 + entries_.size() * 12 + 4;
    for (const Entry &entry : entries_)
      total += entry.content.size() > 4 ? (entry.content.size() + 1) / 2 * 2 : 0;
    return static_cast<std::uint32_t>(total);
  }

  std::string written(std::uint32_t at) const {
    std::vector<Entry> sorted = entries_;
    std::sort(sorted.begin(), sorted.end(), [](const Entry &a, const Entry &b) { return a.tag < b.tag; });
    std::string directory = little(static_cast<std::uint32_t>(sorted.size()), 2);
    std::string values;
    const std::size_t valuesAt = at + 2 + sorted.size() * 12 + 4;
    for (const Entry &entry : sorted) {
      directory += little(entry.tag, 2) + little(entry.type, 2) + little(entry.count, 4);
      if (entry.content.size() <= 4) {
        directory += entry.content + std::string(4 - entry.content.size(), '\0');
      } else {
        directory += little(static_cast<std::uint32_t>(valuesAt + values.size()), 4);
        values += entry.content + std::string(entry.content.size() % 2, '\0');
      }
    }
    return directory + little(0, 4) + values;
  }

  std::vector<Entry> entries_;
  std::string file_;
};

} // namespace vindrel::test
