#pragma once
// Where the libav libraries' own messages go.

#include <string>

namespace zenquor::platform::detail {

/// Sends the messages of the libav libraries to the log at debug level. The first call does it; later ones do
/// nothing, so that a host that wants them elsewhere may take them back.
///
/// Thread-safety: Safe.
void routeLibavLogging();

/// Keeps the first error that libav tells on this thread while it lives, also of contexts that are quiet.
///
/// Thread-safety: Confined to the thread that made it; they nest.
class LibavErrorText {
public:
    LibavErrorText();
    ~LibavErrorText();
    LibavErrorText(const LibavErrorText&) = delete;
    LibavErrorText& operator=(const LibavErrorText&) = delete;

    /// One line without its end; empty when libav said nothing, or when the host has taken its messages.
    const std::string& text() const { return text_; }
    void take(std::string text) {
        if (text_.empty()) text_ = std::move(text);
    }

private:
    std::string text_;
    LibavErrorText* outer_;
};

}  // namespace zenquor::platform::detail
