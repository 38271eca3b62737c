// Exists so that the precompiled header has a library to belong to.
