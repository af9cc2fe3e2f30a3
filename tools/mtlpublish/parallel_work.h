// Spreads work over all processor cores.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_PARALLEL_WORK_H_
#define MTLLIB_TOOLS_MTLPUBLISH_PARALLEL_WORK_H_

#include <cstddef>
#include <functional>

namespace mtlpublish {

/// Calls `work` once with every number below `count`, on as many threads as there are
/// cores, a few at most, and returns when all is done. `meanwhile` is called on this
/// thread, about ten times a second and once at the end. What either throws ends the work, and is
/// thrown here.
void workInParallel(std::size_t count, const std::function<void(std::size_t)>& work,
                    const std::function<void()>& meanwhile);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_PARALLEL_WORK_H_
