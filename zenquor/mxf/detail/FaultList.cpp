#include "zenquor/mxf/detail/FaultList.h"

#include <algorithm>

namespace zenquor::mxf::detail {

void FaultList::tell(std::string sentence) {
    if (sentences_.size() > largestCount) return;
    if (std::find(sentences_.begin(), sentences_.end(), sentence) != sentences_.end()) return;
    if (sentences_.size() == largestCount) sentence = "There are more faults than are listed here.";
    if (logger_) logger_->DoLogWarning("{}", sentence);
    sentences_.push_back(std::move(sentence));
}

}  // namespace zenquor::mxf::detail
