// A picture to look at, made of scene-linear float samples, for the search of points: exposed so that the bulk of it is
// neither black nor clipped, and with the gamma of a display. The samples themselves are left alone; they are what is
// resampled later.
//
// The exposure is found from the picture alone. The geometric mean of its luminances is brought near a middle grey of
// 0.18: of the difference in stops a sixteenth is left, and never more than three quarters of a stop, so that frames
// keep their order by brightness and yet look much alike. Then it is lowered, by two stops at most, as far as more than
// one pixel in fifty would be clipped.
#pragma once

#include "ImageFile.h"

namespace vindrel::cli {

// What linear samples are multiplied with before the display's gamma. 1 for a picture without any light.
double proxyExposure(const ImageView &linear);

// 16 bits, grey or RGB: colours as they are, alpha left out. sRGB's curve; negative samples and what is no number
// become black, samples above the exposure's white, infinite ones included, become white. linear: depth F32, 1 to 4
// channels.
Pixels displayProxy(const ImageView &linear);

// What the search is to look at of a photograph: its pixels, or their proxy where they are scene-linear. Of those the
// samples and the proxy, half as large, are in memory together for a while.
Pixels readForSearch(const ImageHeader &photo);

} // namespace vindrel::cli
