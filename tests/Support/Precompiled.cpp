// Only the precompiled header is wanted of this target.
