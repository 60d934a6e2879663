#include "app/SeriesDataSet.h"

SeriesDataSet::SeriesDataSet() {}

SeriesDataSet::~SeriesDataSet() {
    for (SeriesData* member : members) {
        delete member;
    }
}

bool SeriesDataSet::add(SeriesData* data) {
    if (data == nullptr || data == this || !known.insert(data).second) {
        return false;
    }
    members.push_back(data);
    return true;
}

bool SeriesDataSet::contains(const SeriesData* data) const {
    return known.count(data) != 0;
}

bool SeriesDataSet::print(kestrel::JsomWriter& writer, double clockOrigin) {
    bool wrote = false;
    for (SeriesData* member : members) {
        if (member->print(writer, clockOrigin)) {
            wrote = true;
        }
    }
    return wrote;
}
