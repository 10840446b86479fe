# Installation is set up here.
