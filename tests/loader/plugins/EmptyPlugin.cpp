// A shared library that exports nothing of the import interface.
extern "C" __attribute__((visibility("default"))) int EmptyPluginAnswer() {
    return 42;
}
