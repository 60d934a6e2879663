#ifndef PLOTWRIGHT_PERFEVENTS_TRACEPOINTFIELDFACTORY_H
#define PLOTWRIGHT_PERFEVENTS_TRACEPOINTFIELDFACTORY_H

#include "perfevents/TracePointField.h"

namespace perfevents {

/** Creates readers of one reader type. */
class TracePointFieldFactory {
public:
    virtual ~TracePointFieldFactory();

    /** A new reader with the type's natural size, offset 0 and its type name; owned by the caller. */
    virtual TracePointField* createField() const = 0;
};

} // namespace perfevents

#endif
