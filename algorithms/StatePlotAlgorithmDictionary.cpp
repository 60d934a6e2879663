#include "algorithms/StatePlotAlgorithmDictionary.h"

#include "kestrel/JsomWriter.h"

namespace {

void writeColumn(kestrel::JsomWriter& writer, const char* name, const char* label, const char* description) {
    writer.appendLabel(name, true);
    writer.startObject();
    writer.appendLabel("label", true);
    writer.appendString(label, false);
    writer.appendLabel("description", true);
    writer.appendString(description, false);
    writer.appendLabel("correlate", true);
    writer.appendLong(0);
    writer.endObject();
}

} // namespace

StatePlotAlgorithmDictionary::~StatePlotAlgorithmDictionary() {}

bool StatePlotAlgorithmDictionary::print(kestrel::JsomWriter& writer, double /*time*/) {
    writer.startObject();
    writer.appendLabel("type", true);
    writer.appendString("dictionaries", false);
    writer.appendLabel("scope", true);
    writer.appendString("plotwright", false);
    writer.appendLabel("dictionaries", true);
    writer.startObject();
    writer.appendLabel("statePlotColumns", true);
    writer.startObject();
    writer.appendLabel("type", true);
    writer.appendString("map", false);
    writer.appendLabel("map", true);
    writer.startObject();
    writeColumn(writer, "state", "State", "Event state as defined in the configuration.");
    writeColumn(writer, "inner_pivot", "Subplot",
                "Key that separates the plots within a chart as defined in the configuration.");
    writeColumn(writer, "magnitude", "Y-Axis", "Point value as defined in the configuration.");
    writer.endObject();
    writer.endObject();
    writer.endObject();
    writer.endObject();
    return true;
}
