// An output file as Exiv2 reads and writes files. Through it every write goes to the file that is open aside, and a
// full disk is noticed however the library takes it.
#pragma once

#include "OutputFile.h"

#include <exiv2/basicio.hpp>
#include <string>

namespace vindrel::cli {

class OutputFileIo final : public Exiv2::BasicIo {
public:
  explicit OutputFileIo(OutputFile &file) : file_(file) {}
  ~OutputFileIo() override;
  OutputFileIo(const OutputFileIo &) = delete;
  OutputFileIo &operator=(const OutputFileIo &) = delete;

  int open() override;
  int close() override;
  long write(const Exiv2::byte *data, long count) override;
  long write(Exiv2::BasicIo &source) override;
  int putb(Exiv2::byte data) override;
  Exiv2::DataBuf read(long count) override;
  long read(Exiv2::byte *data, long count) override;
  int getb() override;
  void transfer(Exiv2::BasicIo &source) override;
  int seek(long offset, Position position) override;
  Exiv2::byte *mmap(bool writeable) override;
  int munmap() override;
  long tell() const override { return position_; }
  std::size_t size() const override { return static_cast<std::size_t>(file_.size()); }
  bool isopen() const override { return open_; }
  int error() const override { return failed_ ? 1 : 0; }
  bool eof() const override { return atEnd_; }
  std::string path() const override { return file_.target().string(); }

private:
  OutputFile &file_;
  long position_ = 0;
  bool open_ = false;
  bool atEnd_ = false;
  bool failed_ = false;
  void *mapping_ = nullptr;
  std::size_t mappedBytes_ = 0;
};

} // namespace vindrel::cli
