#pragma once
// FFmpeg's C interfaces with owners that free what they hold.

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/buffer.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
#include <libavutil/hwcontext.h>
#include <libavutil/imgutils.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace zenquor::platform::detail {

struct LibavDeleter {
    void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
    void operator()(AVFrame* p) const { av_frame_free(&p); }
    void operator()(AVPacket* p) const { av_packet_free(&p); }
    void operator()(AVBufferRef* p) const { av_buffer_unref(&p); }
    void operator()(AVBufferPool* p) const { av_buffer_pool_uninit(&p); }
    void operator()(AVDictionary* p) const { av_dict_free(&p); }
    void operator()(SwsContext* p) const { sws_freeContext(p); }
};

template <typename T>
using Libav = std::unique_ptr<T, LibavDeleter>;

/// Added to the level of every message of a codec context: nothing that an encoder says reaches standard
/// error, its failures come back as codes.
inline constexpr int quietLogOffset = 64;

/// Mutes libav's messages while it lives, also those of objects that have no context yet. For one-time
/// probing.
class LibavLogMute {
public:
    LibavLogMute() : before_(av_log_get_level()) { av_log_set_level(AV_LOG_QUIET); }
    ~LibavLogMute() { av_log_set_level(before_); }
    LibavLogMute(const LibavLogMute&) = delete;
    LibavLogMute& operator=(const LibavLogMute&) = delete;

private:
    int before_;
};

}  // namespace zenquor::platform::detail
