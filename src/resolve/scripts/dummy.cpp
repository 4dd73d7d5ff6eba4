// Holds the compiled-in Python programs; no code of its own.
