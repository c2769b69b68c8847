#include "zenquor/media/ZQRFrameMarker.h"

namespace zenquor {

std::shared_ptr<ZQRFrameMarker> ZQRFrameMarker::endDummyFrame() {
    return std::shared_ptr<ZQRFrameMarker>(new ZQRFrameMarker(ZQRFrameStatusEndDummy));
}

std::shared_ptr<ZQRFrameMarker> ZQRFrameMarker::lostSyncFrame() {
    return std::shared_ptr<ZQRFrameMarker>(new ZQRFrameMarker(ZQRFrameStatusLostSync));
}

}  // namespace zenquor
