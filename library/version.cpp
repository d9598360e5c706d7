// The version, for those who have the file only: strings shows it, and the jar compares it with its own. It is a text
// and not a function, as the library exports native methods alone.
[[gnu::used]] static const char version[] = "libcmnexecutor version " RK_VERSION;
