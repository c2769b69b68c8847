#pragma once
// The asset writer behind its interface: readiness, locks, fragments in time, finishing.

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <vector>

#include "zenquor/core/NamedThread.h"
#include "zenquor/core/SerialQueue.h"
#include "zenquor/platform/AssetWriter.h"
#include "zenquor/platform/AssetWriterInput.h"
#include "zenquor/platform/quicktime/ExactTime.h"
#include "zenquor/platform/quicktime/InputEncoder.h"
#include "zenquor/platform/quicktime/MovieFile.h"
#include "zenquor/platform/quicktime/TrackState.h"

namespace zenquor::platform {

/// An input's description, and its state while its writer works (that part under the writer's lock).
struct AssetWriterInput::Implementation {
    FourCC mediaType = 0;
    OutputSettings settings;
    FormatDescriptionPtr hint;
    std::string languageCode;
    std::vector<std::weak_ptr<AssetWriterInput>> timecodeInputs;
    std::unique_ptr<quicktime::InputEncoder> encoder;  // with output settings
    std::weak_ptr<AssetWriter> writer;

    std::shared_ptr<quicktime::TrackState> track;  // from the start of writing
    quicktime::ExactTime end;                      // of what was appended, in decode times of the source
    bool finished = false;

    // The pulling block. At most one run of it is queued or under way.
    SerialQueuePtr queue;
    std::function<void()> block;
    bool dispatched = false;
    bool again = false;  // became ready, or made progress, since the run began

    /// One run of the block, on its queue.
    static void runBlock(const std::shared_ptr<AssetWriterInput>& input);
};

/// One movie being written.
///
/// Two locks: mutex guards all state and is held for moments; fileMutex, taken before it, guards the file and
/// is held while writing. No lock is held while a block or a completion runs.
struct AssetWriter::Implementation {
    using Clock = std::chrono::steady_clock;

    std::filesystem::path url;
    quicktime::MovieSettings settings;
    MediaTime fragmentInterval{5, 1};
    bool optimizeForNetworkUse = false;
    std::vector<AssetWriterInputPtr> inputs;

    // ---- interface
    bool canAdd(const AssetWriterInputPtr& input) const;
    bool start();
    void startSession(MediaTime time);
    void finish(std::shared_ptr<AssetWriter> self, std::function<void()> completion);
    void cancel();
    AssetWriterStatus status() const;
    ZQErrorPtr error() const;

    // ---- for the inputs
    bool isReady(const AssetWriterInput::Implementation& input) const;
    bool append(AssetWriterInput::Implementation& input, const SampleBufferPtr& sample);
    bool request(const AssetWriterInputPtr& input, SerialQueuePtr queue, std::function<void()> block,
                 ZQErrorPtr* error);
    void markFinished(AssetWriterInput::Implementation& input);
    /// Decides after a run of an input's block whether it runs again.
    void blockEnded(const AssetWriterInputPtr& input);
    std::function<void()> beginBlock(AssetWriterInput::Implementation& input);

    ~Implementation();

private:
    using Track = quicktime::TrackState;

    // readiness; all under mutex
    quicktime::ExactTime leastAdvanced() const;
    bool isReadyLocked(const AssetWriterInput::Implementation& input,
                       const quicktime::ExactTime& least) const;
    void wakeInputs();
    void wakeInputsLocked();
    void dispatch(const AssetWriterInputPtr& input);

    // samples
    bool write(AssetWriterInput::Implementation& input, const SampleBuffer& sample);
    bool encode(AssetWriterInput::Implementation& input, const SampleBuffer& sample);
    bool takeCoded(const std::shared_ptr<Track>& track, const quicktime::CodedSample& sample);
    bool writeStreamed(Track& track, const quicktime::CodedSample& sample);
    bool gather(Track& track, std::size_t entries, const std::function<bool(std::string&)>& add);
    bool finishEncoder(AssetWriterInput::Implementation& input);

    // fragments
    enum class Cut { No, AtSync, Now };
    Cut cutDue(const Track& track, Clock::time_point now) const;
    void noteFirstAppend(Clock::time_point now);
    std::size_t entryLimit(const Track& track) const;
    bool gatheringIsDue(const Track& track, Clock::time_point now) const;
    bool videoIsAlive() const;
    void openFragment();
    bool closeFragment();
    bool diskIsSound();
    void scheduleSynchronise();

    // the end
    void finishInputs();
    bool writeMovie();
    void closeFile();
    bool fail(ZQErrorPtr error);
    bool failWriting(int number);
    bool failSamples(const Track& track, const std::string& problem);
    void dropBlocks();

    mutable std::mutex mutex;
    std::mutex fileMutex;
    AssetWriterStatus status_ = AssetWriterStatus::Unknown;
    ZQErrorPtr error_;
    bool sessionStarted_ = false;
    bool finishing_ = false;
    quicktime::TrackList tracks_;
    std::shared_ptr<Track> streamed_;       // the video track, if there is one
    std::vector<std::size_t> entryLimits_;  // per track, of the open fragment
    bool limitsHold_ = false;               // a head of that room is in the file
    bool fragmentHasSamples_ = false;
    Clock::time_point fragmentBegan_;
    std::vector<std::int64_t> origins_;  // per track, from the first fragment on
    std::vector<quicktime::FragmentRun> spareRuns_;

    std::unique_ptr<quicktime::MovieFile> file_;
    std::unique_ptr<SerialQueue> synchroniser_;
    std::atomic<bool> synchronising_{false};
    std::atomic<int> synchroniserFailure_{0};  // an errno
    Clock::time_point nextSynchronise_{};
    NamedThread finisher_;
};

}  // namespace zenquor::platform
