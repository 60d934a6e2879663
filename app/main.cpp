// Entry point of the converter; the command line and run driver are filled in with the conversion.
int main() { return 0; }
