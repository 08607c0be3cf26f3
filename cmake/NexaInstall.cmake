# What `make install` puts where.
