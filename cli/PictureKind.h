// Which files hold a photograph that can be worked on without guessing: one picture, grey or RGB, samples of a kind
// that is kept. Others are refused with what they hold and what to do about it.
#pragma once

#include <OpenImageIO/imageio.h>
#include <string>

namespace vindrel::cli {

// Why the picture that `input` stands at cannot be worked on; empty when it can. May look at the file's other pictures
// and comes back to the first.
std::string whyNotPhotograph(OIIO::ImageInput &input);

} // namespace vindrel::cli
