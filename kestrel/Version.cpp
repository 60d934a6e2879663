// The version of the plotwright library.
namespace kestrel {
const char* plotwrightVersion() { return "0.1.0"; }
} // namespace kestrel
