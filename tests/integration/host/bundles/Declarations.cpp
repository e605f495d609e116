// A bundle without an activator: its manifest is all there is to it.
