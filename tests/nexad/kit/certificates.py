"""A certificate authority in a folder, and certificates of it, made by the openssl program."""

import os
import subprocess


def _openssl(folder, *words):
    subprocess.run(
        ["openssl", *words],
        cwd=folder,
        check=True,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
    )


class Authority:
    def __init__(self, folder, name="Test CA"):
        self.folder = str(folder)
        os.makedirs(self.folder, exist_ok=True)
        self.file = os.path.join(self.folder, "ca.pem")
        self._key = os.path.join(self.folder, "ca-key.pem")
        _openssl(
            self.folder,
            "req",
            "-x509",
            "-newkey",
            "ec",
            "-pkeyopt",
            "ec_paramgen_curve:P-256",
            "-nodes",
            "-days",
            "30",
            "-subj",
            f"/CN={name}",
            "-keyout",
            self._key,
            "-out",
            self.file,
        )

    def issue(self, name, stem=None, common_name=None):
        """The files (certificate, key) of a certificate for 127.0.0.1 and localhost."""
        stem = stem or name
        cert, key, request, extra = (
            os.path.join(self.folder, stem + suffix)
            for suffix in (".pem", "-key.pem", ".csr", ".ext")
        )
        with open(extra, "w", encoding="ascii") as file:
            file.write("subjectAltName=DNS:localhost,IP:127.0.0.1\n")
        _openssl(
            self.folder,
            "req",
            "-new",
            "-newkey",
            "ec",
            "-pkeyopt",
            "ec_paramgen_curve:P-256",
            "-nodes",
            "-subj",
            f"/CN={common_name or name}",
            "-keyout",
            key,
            "-out",
            request,
        )
        _openssl(
            self.folder,
            "x509",
            "-req",
            "-in",
            request,
            "-CA",
            self.file,
            "-CAkey",
            self._key,
            "-CAcreateserial",
            "-days",
            "30",
            "-extfile",
            extra,
            "-out",
            cert,
        )
        return cert, key
