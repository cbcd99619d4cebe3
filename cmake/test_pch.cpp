// Exists so that the tests' shared precompiled header has a target to belong to.
