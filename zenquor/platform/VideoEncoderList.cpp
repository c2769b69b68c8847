#include "zenquor/platform/VideoEncoderList.h"

#include "zenquor/platform/codec/EncoderTable.h"

namespace zenquor::platform {

Status copyVideoEncoderList(std::vector<VideoEncoderInfo>& out) {
    out.clear();
    for (const detail::EncoderRow* row : detail::openableEncoders()) {
        out.push_back({row->codec, row->name, row->hardware});
    }
    return noErr;
}

}  // namespace zenquor::platform
