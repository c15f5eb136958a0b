// How an internal operation ended. The numbers that the flat interface promises instead (-4, -1000, ...) are chosen in
// the <Folder>Abi.cpp files only.
#pragma once

namespace vindrel {

enum class Status {
  Ok,
  OutOfMemory,
  Cancelled,
  FrameMissing, // a source of frames could not hand one over
};

} // namespace vindrel
