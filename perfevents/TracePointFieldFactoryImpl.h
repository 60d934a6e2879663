#ifndef PLOTWRIGHT_PERFEVENTS_TRACEPOINTFIELDFACTORYIMPL_H
#define PLOTWRIGHT_PERFEVENTS_TRACEPOINTFIELDFACTORYIMPL_H

#include "perfevents/TracePointFieldFactory.h"

namespace perfevents {

/** The factory of the reader class T: creates default-constructed readers. */
template <typename T> class TracePointFieldFactoryImpl : public TracePointFieldFactory {
public:
    TracePointField* createField() const override { return new T(); }
};

} // namespace perfevents

#endif
