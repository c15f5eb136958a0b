// The whole C++ interface.
//
//   std::vector<vindrel::ImageView> frames = ...;                    // of one size and depth
//   const auto stack = vindrel::estimateStack(frames, {.threads = 4});
//   if (!stack) return report(stack.error().message);
//   for (std::size_t i = 0; i < frames.size(); ++i) {
//     if (stack->frames[i].verdict == vindrel::Verdict::NotFound) ...  // and stack->frames[i].reason
//     if (const auto done = vindrel::warpFrame(*stack, int(i), frames[i], out, {.threads = 4}); !done) ...
//   }
#pragma once

#include "vindrel/api.hpp"
#include "vindrel/apply.hpp"
#include "vindrel/image.hpp"
#include "vindrel/result.hpp"
#include "vindrel/stack.hpp"
#include "vindrel/straighten.hpp"
#include "vindrel/transform.hpp"
#include "vindrel/transforms_file.hpp"
#include "vindrel/version.hpp"
