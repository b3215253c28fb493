"""An FTP server (pyftpdlib) that fails on purpose, chosen by the file name,
for the tests of uploads and downloads. A name whose file part, without
leading dots, starts with
  drop-      loses both connections after 64 KiB of the file moved
  full-      answers STOR with 452 (no room on the disk), nothing kept
  norename-  refuses RNFR and RNTO with 550
  badsize-   reports one byte more than the file holds through SIZE
Other names are served normally.

  /usr/bin/python3 fault_ftp_server.py PORT FOLDER USER PASSWORD
"""
import os
import sys

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import DTPHandler, FTPHandler
from pyftpdlib.servers import FTPServer

DROP_AFTER = 64 * 1024


def fault(path, kind):
    return os.path.basename(path).lstrip(".").startswith(kind + "-")


class FaultDTPHandler(DTPHandler):
    ac_in_buffer_size = 8192  # small reads, so that a drop comes mid-file

    def _drop_if_due(self, moved):
        if self.file_obj is not None and fault(self.file_obj.name, "drop") and moved > DROP_AFTER:
            self.cmd_channel.close()
            self.close()
            return True
        return False

    def handle_read(self):
        if not self._drop_if_due(self.tot_bytes_received):
            DTPHandler.handle_read(self)

    handle_read_event = handle_read  # the base class binds its own

    def send(self, data):
        if self._drop_if_due(self.tot_bytes_sent):
            return 0
        return DTPHandler.send(self, data)


class FaultHandler(FTPHandler):
    dtp_handler = FaultDTPHandler
    use_sendfile = False  # every byte sent goes through send(), which counts

    def ftp_STOR(self, file, mode="w"):
        if fault(file, "full"):
            self.respond("452 Insufficient storage space.")
            return
        return FTPHandler.ftp_STOR(self, file, mode)

    def ftp_RNFR(self, path):
        if fault(path, "norename"):
            self.respond("550 Renaming refused.")
            return
        return FTPHandler.ftp_RNFR(self, path)

    def ftp_RNTO(self, path):
        if fault(path, "norename"):
            self._rnfr = None
            self.respond("550 Renaming refused.")
            return
        return FTPHandler.ftp_RNTO(self, path)

    def ftp_SIZE(self, path):
        if fault(path, "badsize") and self.fs.isfile(path):
            self.respond("213 %d" % (self.fs.getsize(path) + 1))
            return
        return FTPHandler.ftp_SIZE(self, path)


def main():
    port, folder, user, password = int(sys.argv[1]), sys.argv[2], sys.argv[3], sys.argv[4]
    authorizer = DummyAuthorizer()
    authorizer.add_user(user, password, folder, perm="elradfmwMT")
    FaultHandler.authorizer = authorizer
    FTPServer(("127.0.0.1", port), FaultHandler).serve_forever()


if __name__ == "__main__":
    main()
