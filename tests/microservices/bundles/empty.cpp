// A bundle's library with nothing in it.
