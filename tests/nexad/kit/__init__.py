"""What every test of nexad uses: a server in a temporary folder, certificates, a client, reports."""
