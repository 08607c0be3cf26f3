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
    def __init__(self, folder, name="Test CA", days=30):
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
            str(days),
            "-subj",
            f"/CN={name}",
            "-keyout",
            self._key,
            "-out",
            self.file,
        )

    def intermediate(self, folder, name="Test intermediate"):
        """An authority that this one vouches for."""
        result = Authority(folder, name)
        request = os.path.join(result.folder, "ca.csr")
        _openssl(result.folder, "req", "-new", "-key", result._key, "-subj", f"/CN={name}", "-out", request)
        self._sign(request, result.file, "basicConstraints=critical,CA:TRUE\nkeyUsage=keyCertSign,cRLSign\n")
        return result

    def revocation_list(self, *certificates, days=30):
        """The file of a list with these certificates, which lies beside the authority's."""
        for certificate in certificates:
            _openssl(self.folder, "ca", "-config", self._config(), "-revoke", certificate)
        path = os.path.join(self.folder, "revoked.crl")
        when = ["-crldays", str(days)] if days > 0 else ["-crlsec", "1"]
        _openssl(self.folder, "ca", "-config", self._config(), "-gencrl", *when, "-out", path)
        return path

    def special(self, stem, extensions, *, start=None, end=None, common_name=None):
        """The files of a certificate with these extensions; `start` and `end` as YYMMDDHHMMSSZ."""
        key, request, cert = (
            os.path.join(self.folder, stem + suffix) for suffix in ("-key.pem", ".csr", ".pem")
        )
        curve = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes"]
        subject = f"/CN={common_name or stem}"
        _openssl(self.folder, "req", "-new", *curve, "-subj", subject, "-keyout", key, "-out", request)
        self._sign(request, cert, extensions, start, end)
        return cert, key

    def _sign(self, request, cert, extensions, start=None, end=None):
        file = request + ".ext"
        with open(file, "w", encoding="ascii") as text:
            text.write(extensions)
        dates = ["-startdate", start] if start else []
        dates += ["-enddate", end] if end else ["-days", "30"]
        words = ["-batch", "-notext", "-extfile", file, "-in", request, "-out", cert, *dates]
        _openssl(self.folder, "ca", "-config", self._config(), *words)

    def _config(self):
        path = os.path.join(self.folder, "ca.cnf")
        if not os.path.exists(path):
            for name, text in (
                ("index.txt", ""),
                ("index.txt.attr", "unique_subject = no\n"),
                (
                    "ca.cnf",
                    "[ca]\ndefault_ca = here\n[here]\n"
                    f"database = {self.folder}/index.txt\nnew_certs_dir = {self.folder}\n"
                    f"certificate = {self.file}\nprivate_key = {self._key}\n"
                    "rand_serial = yes\ndefault_md = sha256\npolicy = any\n"
                    "[any]\ncommonName = supplied\n",
                ),
            ):
                with open(os.path.join(self.folder, name), "w", encoding="ascii") as file:
                    file.write(text)
        return path

    def issue(self, name, stem=None, common_name=None, days=30):
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
            str(days),
            "-extfile",
            extra,
            "-out",
            cert,
        )
        return cert, key
