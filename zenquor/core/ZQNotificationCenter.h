#pragma once
// Notifications: a name, some objects, and whoever listens.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zenquor/core/ZQObject.h"

namespace zenquor {

/// Delivers notifications to the observers of their name, on the thread that posts, before post() returns.
///
/// Thread-safety: Safe. An observer may add and remove observers; one removed meanwhile may still hear the
/// running post.
class ZQNotificationCenter {
public:
    /// What a notification is about, in an order that its name fixes.
    using Objects = std::vector<std::shared_ptr<const ZQObject>>;
    using Observer = std::function<void(std::string_view name, const Objects& objects)>;
    using Token = std::uint64_t;

    static ZQNotificationCenter& defaultCenter();

    ZQNotificationCenter();
    ~ZQNotificationCenter();

    [[nodiscard]] Token addObserver(std::string name, Observer observer);
    void removeObserver(Token token);
    void post(std::string_view name, const Objects& objects) const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace zenquor
