#ifndef PERFEVENTS_TEXTTRACEPOINTFIELD_H
#define PERFEVENTS_TEXTTRACEPOINTFIELD_H

#include "perfevents/NumericTracePointField.h"
#include "perfevents/TextDictionary.h"

namespace perfevents {

/**
 * Reads a text field as a number: the number its text has in a TextDictionary. The text is a fixed array of
 * characters ("char comm[16]") at the field's offset, or variable-length data that the field locates: a
 * "__data_loc" field is a u32 whose low 16 bits give the text's offset from the start of the raw data and whose
 * high 16 bits its length; "__rel_loc" counts the offset from the end of the field instead. The text ends at its
 * first NUL. A text that does not lie wholly inside the raw data reads as the empty text.
 */
class TextTracePointField : public NumericTracePointField {
public:
    enum Layout { FIXED_ARRAY, DATA_LOC, REL_LOC };

    /// texts: where the numbers come from (not owned; it must outlive the reader).
    TextTracePointField(Layout layout, TextDictionary& texts);
    ~TextTracePointField() override;

    /// The layout of a field of the declared C type, or false when the type is no text ("char[16]",
    /// "__data_loc char[]", "__rel_loc char[]" are).
    static bool layoutOf(const std::string& declaredType, Layout& layout);

    int8_t getInt8(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    int16_t getInt16(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    int32_t getInt32(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    int64_t getInt64(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    uint8_t getUint8(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    uint16_t getUint16(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    uint32_t getUint32(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    uint64_t getUint64(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    float getFloat(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    double getDouble(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    long double getLongDouble(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;

    TextDictionary& getTexts() const { return texts; }

private:
    Layout layout;
    TextDictionary& texts;
};

} // namespace perfevents

#endif
