"""A small gNMI client on Debian's python3-grpcio: what gnmi-client, the demo, the soak and the tests share."""
