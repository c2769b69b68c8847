// What the MXF muxer costs beside ffmpeg, which copies the same essence into MXF.
//
//   bench_mxf FOLDER [SECONDS]          measures XDCAM HD422 and ProRes HQ with eight tracks of 24-bit sound
//   bench_mxf FOLDER INPUT OUTPUT.mxf   only muxes the essence of a media file, for a look at the result
//
// Both programs read their essence from the same file through libavformat; reading counts for both.

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "zenquor/mxf/Mux.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

using namespace zenquor;

constexpr int rounds = 3;
constexpr double limit = 0.8;

[[noreturn]] void giveUp(const std::string& what) {
    std::fprintf(stderr, "bench_mxf: %s\n", what.c_str());
    std::exit(2);
}

/// Processor seconds of this process and of the programs that it ran.
double processorSeconds() {
    double seconds = 0;
    for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        getrusage(who, &usage);
        for (const timeval& t : {usage.ru_utime, usage.ru_stime})
            seconds += static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
    }
    return seconds;
}

/// Takes samples by way of one copy, as a recording does.
class Stream final : public mxf::InputStream {
public:
    std::int32_t Write(std::span<const std::uint8_t> bytes) override {
        if (pending_.count + bytes.size() > pending_.capacity) grow(pending_.count + bytes.size());
        std::copy(bytes.begin(), bytes.end(), pending_.memory.get() + pending_.count);
        pending_.count += bytes.size();
        return static_cast<std::int32_t>(bytes.size());
    }
    std::int32_t Control(std::int32_t, const mxf::SampleRecord::Bytes& record) override {
        return listener_ ? listener_->onSample(*this, mxf::SampleRecord::read(record)) : -1;
    }
    void setListener(mxf::SampleListener* listener) override { listener_ = listener; }
    mxf::SampleMemory takeSample(mxf::SampleMemory spare) override {
        spare.count = 0;
        return std::exchange(pending_, std::move(spare));
    }
    void send(std::span<const std::uint8_t> bytes, std::int64_t timeStamp) {
        Write(bytes);
        if (Control(commandSampleReady, mxf::SampleRecord{timeStamp, 0, bytes.size()}.bytes()) != 0)
            giveUp("a sample was refused");
    }

private:
    void grow(std::size_t bytes) {
        mxf::SampleMemory larger;
        larger.capacity = bytes + bytes / 4;
        larger.memory = std::make_unique_for_overwrite<std::uint8_t[]>(larger.capacity);
        std::copy_n(pending_.memory.get(), pending_.count, larger.memory.get());
        larger.count = pending_.count;
        pending_ = std::move(larger);
    }

    mxf::SampleMemory pending_;
    mxf::SampleListener* listener_ = nullptr;
};

/// One element of SMPTE ST 436-1: a caption distribution packet of the usual size on line 9.
std::vector<std::uint8_t> captionElement() {
    std::vector<std::uint8_t> element{0, 1,    0, 9, 1, 4, 0,    3 + 0x49, 0,   0,
                                      0, 0x4C, 0, 0, 0, 1, 0x61, 0x01,     0x49};
    element.resize(2 + 14 + 0x4C);
    return element;
}

struct Input {
    AVFormatContext* context = nullptr;
    AVStream* picture = nullptr;
    std::vector<int> sounds;

    explicit Input(const std::string& path) {
        if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) < 0) giveUp("cannot open " + path);
        if (avformat_find_stream_info(context, nullptr) < 0) giveUp("cannot read " + path);
        for (unsigned i = 0; i < context->nb_streams; ++i) {
            AVStream* const stream = context->streams[i];
            if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) picture = stream;
            if (stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) sounds.push_back(static_cast<int>(i));
        }
        if (!picture) giveUp("no picture in " + path);
    }
    ~Input() { avformat_close_input(&context); }
};

/// What the muxer has to be told of a codec of libavcodec.
struct CodecRow {
    AVCodecID id;
    std::int32_t codec;
    std::int32_t profile;
};
constexpr CodecRow codecRows[] = {
    {AV_CODEC_ID_MPEG2VIDEO, mxf::codec::mpeg2Video, mxf::wrapping::xdcam},
    {AV_CODEC_ID_PRORES, mxf::codec::proRes, mxf::wrapping::proRes},
    {AV_CODEC_ID_DNXHD, mxf::codec::vc3, mxf::wrapping::vc3},
    {AV_CODEC_ID_DVVIDEO, mxf::codec::dv50, mxf::wrapping::dvAndAVCIntra},
    {AV_CODEC_ID_H264, mxf::codec::avcIntra100, mxf::wrapping::dvAndAVCIntra},
};

class Recording {
public:
    explicit Recording(const Input& input, const std::string& path) : input_(input) {
        const auto* row = std::find_if(std::begin(codecRows), std::end(codecRows), [&](const CodecRow& each) {
            return each.id == input.picture->codecpar->codec_id;
        });
        if (row == std::end(codecRows)) giveUp("essence that this program does not know");
        rate_ = av_q2d(input.picture->avg_frame_rate);
        muxer_ = mxfMuxNew(ZQRMXFLogger::loggerWithMode(ZQRMXFLogger::Mode::Forwarding));
        mxf::MuxSettings settings;
        settings.profile = row->profile;
        settings.company = U"Zenquor";
        settings.product = U"bench";
        settings.startTimecodeFrames = static_cast<std::int64_t>(36000 * rate_);
        if (mxfMuxOpen(muxer_, path.c_str(), settings) != 0) giveUp("cannot create " + path);
        addStreams(*row);
    }
    ~Recording() { mxfMuxFree(muxer_); }

    /// Every picture opens an edit unit; the sound of as long a time goes with it.
    void run() {
        Packet packet = newPacket();
        while (av_read_frame(input_.context, packet.get()) >= 0) {
            const std::span bytes(packet->data, static_cast<std::size_t>(packet->size));
            if (packet->stream_index == input_.picture->index) {
                pictures_.push_back(std::exchange(packet, newPacket()));
            } else if (const std::size_t n = soundNumber(packet->stream_index); n < sounds_.size()) {
                pending_[n].insert(pending_[n].end(), bytes.begin(), bytes.end());
            }
            av_packet_unref(packet.get());
            sendUnits(false);
        }
        sendUnits(true);
        if (mxfMuxClose(muxer_) != 0) giveUp("cannot close the file");
    }

private:
    struct FreePacket {
        void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    };
    using Packet = std::unique_ptr<AVPacket, FreePacket>;
    static Packet newPacket() { return Packet(av_packet_alloc()); }
    static constexpr std::size_t bytesPerSample = 3;

    void addStreams(const CodecRow& row) {
        const AVCodecParameters& p = *input_.picture->codecpar;
        mxf::StreamFormat format;
        format.streamKind = mxf::streamKindVideo;
        format.codec = row.codec;
        format.editRate = format.frameRate = rate_;
        format.isInterlaced = p.field_order > AV_FIELD_PROGRESSIVE;
        format.isFrameWrapped = true;
        format.width = static_cast<std::uint32_t>(p.width);
        format.height = static_cast<std::uint32_t>(p.height);
        format.aspectX = 16, format.aspectY = 9;
        add(picture_, format);
        format = {};
        format.streamKind = mxf::streamKindAudio;
        format.codec = mxf::codec::pcmWave;
        format.editRate = rate_;
        format.sampleRate = 48000;
        format.bitsPerSample = 24, format.bytesPerSample = 3, format.bytesPerSecond = 144000;
        format.channelCount = 1;
        sounds_.resize(input_.sounds.size());
        pending_.resize(sounds_.size());
        for (Stream& sound : sounds_) add(sound, format);
        format = {};
        format.streamKind = mxf::streamKindData;
        format.codec = mxf::codec::ancillary436M;
        format.editRate = rate_;
        add(data_, format);
    }
    void add(Stream& stream, const mxf::StreamFormat& format) {
        if (mxfMuxAddInputStream(muxer_, &stream, format) != 0) giveUp("a stream was refused");
    }
    std::size_t soundNumber(int index) const {
        const auto at = std::find(input_.sounds.begin(), input_.sounds.end(), index);
        return static_cast<std::size_t>(at - input_.sounds.begin());
    }
    std::size_t soundBytes(std::int64_t unit) const {
        const auto until = [&](std::int64_t n) {
            return static_cast<std::int64_t>(static_cast<double>(n) * 48000 / rate_ + 0.5);
        };
        return static_cast<std::size_t>(until(unit + 1) - until(unit)) * bytesPerSample;
    }
    void sendUnits(bool isLast) {
        while (!pictures_.empty()) {
            const std::size_t wanted = soundBytes(unit_);
            for (const auto& sound : pending_) {
                if (sound.size() < wanted && !isLast) return;
            }
            const auto stamp =
                static_cast<std::int64_t>(static_cast<double>(unit_) * (27000000 / rate_ + 0.5));
            const AVPacket& picture = *pictures_.front();
            picture_.send({picture.data, static_cast<std::size_t>(picture.size)}, stamp);
            for (std::size_t i = 0; i < sounds_.size(); ++i) {
                const std::size_t bytes = std::min(wanted, pending_[i].size());
                sounds_[i].send(std::span(pending_[i]).first(bytes), stamp);
                pending_[i].erase(pending_[i].begin(),
                                  pending_[i].begin() + static_cast<std::ptrdiff_t>(bytes));
            }
            if (unit_ % 3 != 2) data_.send(captions_, stamp);
            pictures_.pop_front();
            ++unit_;
        }
    }

    const Input& input_;
    mxf::Muxer* muxer_ = nullptr;
    double rate_ = 25;
    Stream picture_, data_;
    std::vector<Stream> sounds_;
    std::deque<Packet> pictures_;
    std::vector<std::vector<std::uint8_t>> pending_;
    const std::vector<std::uint8_t> captions_ = captionElement();
    std::int64_t unit_ = 0;
};

void mux(const std::string& from, const std::string& to) {
    const Input input(from);
    Recording recording(input, to);
    recording.run();
}

void run(const std::string& command) {
    if (std::system(command.c_str()) != 0) giveUp("failed: " + command);
}

/// A source of @p seconds with eight mono tracks.
void makeSource(const std::string& path, const std::string& encoder, int seconds) {
    std::string maps;
    for (int i = 0; i < 8; ++i) maps += " -map 1:a";
    run("ffmpeg -v error -y -f lavfi -i testsrc2=s=1920x1080:r=25 -f lavfi -i sine=f=440:r=48000 -t " +
        std::to_string(seconds) + " -map 0:v" + maps + " " + encoder + " -c:a pcm_s24le -ac 1 '" + path +
        "'");
}

bool measure(const std::string& folder, const std::string& name, const std::string& encoder, int seconds) {
    const std::string source = folder + "/bench_mxf_source.mov", own = folder + "/bench_mxf_own.mxf",
                      peer = folder + "/bench_mxf_peer.mxf";
    makeSource(source, encoder, seconds);
    const std::string copy = "ffmpeg -v error -i '" + source + "' -map 0 -c copy -r 25 -f mxf '" + peer + "'";
    double ownSeconds = 1e9, peerSeconds = 1e9;
    for (int round = -1; round < rounds; ++round) {  // the first round warms the page cache
        std::filesystem::remove(own);                // outside of the measured time, as below
        double start = processorSeconds();
        mux(source, own);
        if (round >= 0) ownSeconds = std::min(ownSeconds, processorSeconds() - start);
        std::filesystem::remove(peer);
        start = processorSeconds();
        run(copy);
        if (round >= 0) peerSeconds = std::min(peerSeconds, processorSeconds() - start);
    }
    const double ratio = ownSeconds / peerSeconds;
    std::printf(
        "%-12s %3d s, %.0f MB: muxer %.3f s of CPU, ffmpeg -c copy %.3f s, ratio %.2f (at most %.2f: %s)\n",
        name.c_str(), seconds, static_cast<double>(std::filesystem::file_size(own)) / 1e6, ownSeconds,
        peerSeconds, ratio, limit, ratio <= limit ? "held" : "MISSED");
    for (const std::string& path : {source, own, peer}) std::filesystem::remove(path);
    return ratio <= limit;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4) {
        std::filesystem::remove(argv[3]);
        mux(argv[2], argv[3]);
        return 0;
    }
    if (argc < 2) giveUp("FOLDER [SECONDS] | FOLDER INPUT OUTPUT.mxf");
    const int seconds = argc > 2 ? std::atoi(argv[2]) : 60;
    const bool xdcam =
        measure(argv[1], "XDCAM HD422",
                "-c:v mpeg2video -pix_fmt yuv422p -flags +ildct+ilme -top 1 -b:v 50M -minrate 50M "
                "-maxrate 50M -bufsize 36408333 -g 12 -bf 2",
                seconds);
    const bool prores = measure(argv[1], "ProRes HQ", "-c:v prores_ks -profile:v 3", seconds);
    return xdcam && prores ? 0 : 1;
}
