#include "presenters/model/ShowTimes.h"

namespace presenters {

void ShowTimes::started(const TimeBounds& at) {
    times_ = {at, {}, {}, {}};
}

void ShowTimes::shown(std::int64_t slide, std::int64_t position, const TimeBounds& at) {
    if (times_.visits.size() == kMostVisits) times_.visits.erase(times_.visits.begin());
    times_.visits.push_back({slide, position, at});
}

void ShowTimes::ended(const std::string& documentID, const TimeBounds& at) {
    times_.showEnded = at;
    times_.endedDocumentID = documentID;
}

}  // namespace presenters
