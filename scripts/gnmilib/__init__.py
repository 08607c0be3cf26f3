"""A small gNMI client on Debian's python3-grpcio, for gnmi-client, the soak and the tests."""
