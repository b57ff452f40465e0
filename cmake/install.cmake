# Installation will be filled in with the public surface.
