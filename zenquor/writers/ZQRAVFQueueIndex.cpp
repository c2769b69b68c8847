#include "zenquor/writers/ZQRAVFQueueIndex.h"

#include <utility>

namespace zenquor {

ZQRAVFQueueIndexPtr ZQRAVFQueueIndex::queueIndexWithQueue(Queue queue, std::uint64_t index) {
    return initWithQueue(std::move(queue), index);
}

ZQRAVFQueueIndexPtr ZQRAVFQueueIndex::initWithQueue(Queue queue, std::uint64_t index) {
    ZQRAVFQueueIndexPtr queueIndex(new ZQRAVFQueueIndex);
    queueIndex->setQueue(std::move(queue));
    queueIndex->setIndex(index);
    return queueIndex;
}

void ZQRAVFQueueIndex::finish() {
    if (queue_) queue_->signal();
}

}  // namespace zenquor
