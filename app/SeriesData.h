#ifndef APP_SERIESDATA_H
#define APP_SERIESDATA_H

namespace kestrel {
class JsomWriter;
}

// One run-wide section of the output document, printed after the algorithms have written their series.
class SeriesData {
public:
    virtual ~SeriesData();

    // Writes the section into the writer's current array; returns whether anything was written.
    // clockOrigin is the clock time to which all event times of the run are relative.
    virtual bool print(kestrel::JsomWriter& writer, double clockOrigin) = 0;
};

#endif
