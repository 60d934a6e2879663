#include "app/SeriesData.h"

SeriesData::~SeriesData() {}
