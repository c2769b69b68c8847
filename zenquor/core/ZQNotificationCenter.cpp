#include "zenquor/core/ZQNotificationCenter.h"

#include <mutex>
#include <utility>

namespace zenquor {

struct ZQNotificationCenter::State {
    struct Entry {
        Token token;
        std::string name;
        std::shared_ptr<const Observer> observer;
    };
    std::mutex mutex;
    std::vector<Entry> entries;
    Token lastToken = 0;
};

ZQNotificationCenter::ZQNotificationCenter() : state_(std::make_unique<State>()) {}
ZQNotificationCenter::~ZQNotificationCenter() = default;

ZQNotificationCenter& ZQNotificationCenter::defaultCenter() {
    static ZQNotificationCenter center;
    return center;
}

ZQNotificationCenter::Token ZQNotificationCenter::addObserver(std::string name, Observer observer) {
    const std::lock_guard lock(state_->mutex);
    state_->entries.push_back(
        {++state_->lastToken, std::move(name), std::make_shared<const Observer>(std::move(observer))});
    return state_->lastToken;
}

void ZQNotificationCenter::removeObserver(Token token) {
    const std::lock_guard lock(state_->mutex);
    std::erase_if(state_->entries, [&](const auto& entry) { return entry.token == token; });
}

void ZQNotificationCenter::post(std::string_view name, const Objects& objects) const {
    std::vector<std::shared_ptr<const Observer>> observers;
    {
        const std::lock_guard lock(state_->mutex);
        for (const auto& entry : state_->entries) {
            if (entry.name == name) observers.push_back(entry.observer);
        }
    }
    for (const auto& observer : observers) (*observer)(name, objects);
}

}  // namespace zenquor
