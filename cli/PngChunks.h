// A PNG's texts (title, author, copyright, comments, the time of the last change) and its notes on colour beside the
// profile are chunks of their own, each with its length and its check sum, that need no understanding to be copied. The
// library that handles all other metadata keeps those of a file it changes and carries none over from another.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vindrel::cli {

class OutputFile;

// The whole text, time and colour chunks of a PNG, one behind the other, without the profile and the texts that wrap
// Exif, IPTC or XMP. Damaged chunks and all that follows them are left out; empty for what is no PNG. Never fails.
std::string readPngChunks(const std::filesystem::path &photo);

// A chunk of that type. An sRGB chunk says that colours are sRGB, to be reproduced as its one byte tells.
std::string pngChunk(std::string_view type, std::string_view content);
constexpr std::string_view kSrgbAsItLooks("\0", 1); // to look right rather than to measure right

// Puts such chunks where readers expect them, behind the head of a complete PNG. False, with nothing written, when it
// does not begin as a PNG does.
bool insertPngChunks(OutputFile &file, const std::string &chunks);

} // namespace vindrel::cli
