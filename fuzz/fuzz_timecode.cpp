// Timecode texts: what is read is a label of the timebase and reads back as itself.

#include <string_view>

#include "Check.h"
#include "zenquor/core/ZQCKTimecode.h"

using namespace zenquor;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    for (int code = 0; code < ZQCKTimebase::frameRateCount; ++code) {
        const auto timebase = ZQCKTimebase::timebaseForFramerate(code);
        const auto timecode = ZQCKTimecode::timecodeWithString(text, timebase);
        if (!timecode) continue;
        FUZZ_CHECK(timecode->framesSinceMidnight() < timebase.framesPerDay());
        FUZZ_CHECK(ZQCKTimecode::timecodeWithString(timecode->description(), timebase) == timecode);
        FUZZ_CHECK(timecode->addingFrames(1).addingFrames(-1) == *timecode);
    }
    return 0;
}
