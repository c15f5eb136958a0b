// The usual channel counts are compiled in, so that the compiler sees constant strides; other counts take the same loop
// with the count as a variable.
#include "features/GreyKernel.h"

#include "base/Grey.h"

#include <cstddef>

namespace vindrel {
namespace {

// Kept apart from its callers so that Channels == 0 means "as given at run time".
template <int Channels, class Sample>
inline void convert(const Sample *__restrict samples, int width, int givenChannels, std::uint8_t *__restrict grey) {
  const std::ptrdiff_t channels = Channels != 0 ? Channels : givenChannels;
  const std::ptrdiff_t middle = (channels - 1) / 2, last = channels - 1;
  for (std::ptrdiff_t x = 0; x < width; ++x) {
    const Sample *pixel = samples + x * channels;
    grey[x] = static_cast<std::uint8_t>(greyOf(pixel[0], pixel[middle], pixel[last]));
  }
}

template <class Sample>
void dispatch(const Sample *samples, int width, int channels, std::uint8_t *grey) {
  switch (channels) {
  case 1:
    return convert<1>(samples, width, channels, grey);
  case 3:
    return convert<3>(samples, width, channels, grey);
  case 4:
    return convert<4>(samples, width, channels, grey);
  default:
    return convert<0>(samples, width, channels, grey);
  }
}

} // namespace

void greyRow(const std::uint8_t *samples, int width, int channels, std::uint8_t *grey) {
  dispatch(samples, width, channels, grey);
}

void greyRow(const std::uint16_t *samples, int width, int channels, std::uint8_t *grey) {
  dispatch(samples, width, channels, grey);
}

} // namespace vindrel
