// Only here to make the precompiled header that every target uses.
