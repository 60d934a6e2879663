// Plot data reader: any bytes are read as a stream of plot data documents and written both as a page (into
// memory, no data folder) and as a trace. Bad input must end in a PlotDataError, never a crash, a hang or a read
// outside the input.
#include "viewer/PageAssets.h"
#include "viewer/PageWriter.h"
#include "viewer/PlotDataError.h"
#include "viewer/PlotDataReader.h"
#include "viewer/TraceWriter.h"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    {
        std::ostringstream page;
        viewer::PageWriter::Options options;
        options.inlineLimit = 1 << 16;
        viewer::PageWriter writer(page, nullptr, options, viewer::PageAssets::pageTemplate(), "", "");
        try {
            viewer::PlotDataReader::readText(text, "fuzz.json", writer);
            writer.finish();
        } catch (const viewer::PlotDataError&) {
        }
    }
    {
        // The trace reads the stream in small pieces, so that tokens straddle the reader's buffer.
        std::ostringstream trace;
        viewer::TraceWriter writer(trace);
        try {
            std::istringstream in(text);
            viewer::PlotDataReader::read(in, "fuzz.json", writer, 7);
            writer.finish();
        } catch (const viewer::PlotDataError&) {
        }
    }
    return 0;
}
