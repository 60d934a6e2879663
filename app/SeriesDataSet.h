#ifndef APP_SERIESDATASET_H
#define APP_SERIESDATASET_H

#include "app/SeriesData.h"

#include <cstddef>
#include <set>
#include <vector>

// The run-wide output sections. Members are printed in the order in which they were added, so the output does
// not depend on where they happen to be allocated; a section added twice is kept once. The set owns its
// members and deletes them when it is destroyed.
class SeriesDataSet : public SeriesData {
public:
    SeriesDataSet();
    ~SeriesDataSet() override;

    SeriesDataSet(const SeriesDataSet&) = delete;
    SeriesDataSet& operator=(const SeriesDataSet&) = delete;

    // Takes ownership of data; returns false (and keeps nothing twice) when it is null or already a member.
    bool add(SeriesData* data);
    bool contains(const SeriesData* data) const;
    size_t size() const { return members.size(); }

    // Prints every member in insertion order; true when at least one member wrote something.
    bool print(kestrel::JsomWriter& writer, double clockOrigin) override;

private:
    std::vector<SeriesData*> members;
    std::set<const SeriesData*> known;
};

#endif
