// The sampling half of the perspective search by its definition: one thread after the other, every pair counted.
#pragma once

#include "VindrelRegLib.h"

#include "reference/PerspectiveAgreement.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace vindrel::reference {

struct PerspectiveTrials {
  struct Anchor {
    std::array<float, 8> transform{};
    int count = 0;
    float error = 0;
  };
  std::vector<Anchor> anchors;
  int bestAnchor = -1;
  int bestCount = -1;
};

struct TrialQuestion {
  int width, height;
  int anchorBudget, threads, mode;
  const float *guess;
  float maxAngle;
};

// pairs: best first.
inline PerspectiveTrials perspectiveTrials(const PairsView &pairs, const TrialQuestion &q) {
  const int n = pairs.count;
  const bool affine = q.mode % 2 == 1;
  const int picks = affine ? 2 : 3;
  PerspectiveTrials found;
  found.anchors.resize(static_cast<std::size_t>(std::max(0, std::min(q.anchorBudget, n - 1))));
  const int anchors = static_cast<int>(found.anchors.size());
  const auto source = [&](int i) { return PointF{static_cast<float>(pairs.xA[i]), static_cast<float>(pairs.yA[i])}; };
  const auto target = [&](int i) { return PointF{static_cast<float>(pairs.xB[i]), static_cast<float>(pairs.yB[i])}; };

  const auto plausible = [&](const float *t, bool &eligible) {
    const double w = q.width;
    if (std::fabs(t[2]) / w > 0.2 || std::fabs(t[5]) / w > 0.2) return false;
    if (std::fabs(t[0]) < 0.7 || std::fabs(t[0]) > 1.3 || std::fabs(t[4]) < 0.7 || std::fabs(t[4]) > 1.3) return false;
    if (std::fabs(t[1]) >= 0.3 || std::fabs(t[3]) >= 0.3) return false;
    PointF tl, tr, bl, br;
    transformRectPerspectF(0, 0, static_cast<float>(q.width), static_cast<float>(q.height), t, &tl.x, &tl.y, &tr.x,
                           &tr.y, &bl.x, &bl.y, &br.x, &br.y);
    eligible = true;
    for (const float angle : {angleBetweenVectors(tl.x, tl.y, tr.x, tr.y, bl.x, bl.y),
                              angleBetweenVectors(tr.x, tr.y, tl.x, tl.y, br.x, br.y),
                              angleBetweenVectors(bl.x, bl.y, tl.x, tl.y, br.x, br.y),
                              angleBetweenVectors(br.x, br.y, tr.x, tr.y, bl.x, bl.y)}) {
      if (!(std::fabs(angle - 90.0f) <= 2.5f)) return false;
      if (std::fabs(angle - 90.0f) > q.maxAngle) eligible = false;
    }
    if (q.guess == nullptr) return true;
    const double widened[8] = {t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7]};
    return !(perspectTransformTooDifferentAmount(q.width, q.height, q.guess, widened, 200.0f, 1.0f) > 0);
  };

  int anchor = 0;
  for (int thread = 0; thread < q.threads; ++thread) {
    MtState random;
    mt_init(&random);
    const int end = anchor + anchors / q.threads + (thread < anchors % q.threads ? 1 : 0);
    for (; anchor < end; ++anchor) {
      for (int trial = 0; trial < (affine ? 100 : 5); ++trial) {
        for (int attempt = 0; attempt < 50; ++attempt) {
          int p[3] = {-1, -2, -3};
          for (int i = 0; i < picks; ++i) {
            double u = static_cast<double>(mt_random(&random)) * 2.3283064365386963e-10;
            if (affine) u = u * u;
            p[i] = static_cast<int>(u * n);
          }
          bool distinct = true;
          for (int i = 0; i < (q.mode < 2 ? picks : picks - 1); ++i) {
            for (int j = 0; j < i; ++j)
              distinct = distinct && p[i] != p[j];
            distinct = distinct && p[i] != anchor;
          }
          if (!distinct) continue;
          float t[8];
          const PointF s0 = source(anchor), d0 = target(anchor), s1 = source(p[0]), d1 = target(p[0]);
          const PointF s2 = source(p[1]), d2 = target(p[1]);
          if (affine) {
            make_identity(t, 8);
            if (calc_transform3(t, s0, d0, s1, d1, s2, d2) < 1) continue;
          } else {
            const PointF s3 = source(p[2]);
            if (std::fabs(s1.x - s0.x) + std::fabs(s1.y - s0.y) + std::fabs(s2.x - s0.x) + std::fabs(s2.y - s0.y) +
                    std::fabs(s3.x - s0.x) + std::fabs(s3.y - s0.y) ==
                0)
              continue;
            calc_transform4(t, s0, d0, s1, d1, s2, d2, s3, target(p[2]));
          }
          bool eligible = false;
          if (!plausible(t, eligible)) continue;

          const PerspectiveAgreement agreement =
              perspectiveAgreement(pairs, t, anchor, q.mode < 2 ? p[0] : -1, q.mode < 2 ? p[1] : -1);
          PerspectiveTrials::Anchor &best = found.anchors[static_cast<std::size_t>(anchor)];
          if (agreement.count > best.count) {
            best.count = agreement.count;
            best.error = agreement.errorSum / static_cast<float>(agreement.count);
            std::copy(t, t + 8, best.transform.begin());
            if (eligible && agreement.count > found.bestCount) {
              found.bestCount = agreement.count;
              found.bestAnchor = anchor;
            }
          }
          break;
        }
      }
    }
  }
  return found;
}

} // namespace vindrel::reference
