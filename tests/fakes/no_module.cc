// A library without the plug-in's export.
extern "C" __attribute__((visibility("default"))) void somethingElse() {}
