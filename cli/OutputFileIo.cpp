#include "OutputFileIo.h"

#include <cerrno>
#include <exiv2/error.hpp>
#include <exiv2/types.hpp>
#include <sys/mman.h>
#include <system_error>

namespace vindrel::cli {

OutputFileIo::~OutputFileIo() {
  close();
}

int OutputFileIo::open() {
  position_ = 0;
  open_ = true;
  atEnd_ = false;
  return 0;
}

int OutputFileIo::close() {
  munmap();
  open_ = false;
  return 0;
}

long OutputFileIo::write(const Exiv2::byte *data, long count) {
  if (count <= 0) return 0;
  const auto done = static_cast<long>(file_.writeAt(data, static_cast<std::size_t>(count), position_));
  position_ += done;
  failed_ = failed_ || done != count;
  return done;
}

long OutputFileIo::write(Exiv2::BasicIo &source) {
  if (source.open() != 0) return 0;
  const Exiv2::IoCloser closer(source);
  long done = 0;
  Exiv2::byte block[1 << 16];
  for (long got = 0; (got = source.read(block, sizeof block)) > 0;) {
    const long written = write(block, got);
    done += written;
    if (written != got) break;
  }
  return done;
}

int OutputFileIo::putb(Exiv2::byte data) {
  return write(&data, 1) == 1 ? data : -1;
}

Exiv2::DataBuf OutputFileIo::read(long count) {
  Exiv2::DataBuf buffer(count);
  buffer.size_ = read(buffer.pData_, count);
  return buffer;
}

long OutputFileIo::read(Exiv2::byte *data, long count) {
  if (count <= 0) return 0;
  const auto got = static_cast<long>(file_.readAt(data, static_cast<std::size_t>(count), position_));
  position_ += got;
  atEnd_ = got < count;
  return got;
}

int OutputFileIo::getb() {
  Exiv2::byte data = 0;
  return read(&data, 1) == 1 ? data : -1;
}

// Puts the whole of `source` in the place of what the file holds.
void OutputFileIo::transfer(Exiv2::BasicIo &source) {
  munmap();
  position_ = 0;
  const auto count = static_cast<long>(source.size());
  if (write(source) != count || !file_.cutAt(count)) {
    failed_ = true;
    throw Exiv2::Error(Exiv2::kerTransferFailed, path(), "the disk takes no more");
  }
}

int OutputFileIo::seek(long offset, Position position) {
  const long target = offset + (position == beg ? 0 : position == cur ? position_ : static_cast<long>(size()));
  if (target < 0 || target > static_cast<long>(size())) return 1;
  position_ = target;
  atEnd_ = false;
  return 0;
}

Exiv2::byte *OutputFileIo::mmap(bool writeable) {
  munmap();
  mappedBytes_ = size();
  mapping_ =
      ::mmap(nullptr, mappedBytes_, writeable ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, file_.descriptor(), 0);
  if (mapping_ == MAP_FAILED) {
    mapping_ = nullptr;
    throw Exiv2::Error(Exiv2::kerCallFailed, path(), std::generic_category().message(errno), "mmap");
  }
  return static_cast<Exiv2::byte *>(mapping_);
}

int OutputFileIo::munmap() {
  if (mapping_ != nullptr) ::munmap(mapping_, mappedBytes_);
  mapping_ = nullptr;
  return 0;
}

} // namespace vindrel::cli
