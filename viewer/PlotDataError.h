#ifndef VIEWER_PLOTDATAERROR_H
#define VIEWER_PLOTDATAERROR_H

#include <stdexcept>
#include <string>

namespace viewer {

/// Input that cannot be shown: an unreadable file, text that is not JSON, JSON that is not plot data.
/// The message is one line that names the file and the place.
class PlotDataError : public std::runtime_error {
public:
    explicit PlotDataError(const std::string& message) : std::runtime_error(message) {}
};

} // namespace viewer

#endif
