"""What every test of nexad uses: a server in a folder, certificates, a client, reports."""
