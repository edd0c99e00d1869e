"""velstat capture --out, told to write in odd places: what was there stays as it was, or keeps what is said about it."""

import os
import stat
import struct
import subprocess
import unittest

from command import ENVIRONMENT, VELSTAT, run
from write_out import WriteOut

# struct posix_acl_xattr_header, then tag, permissions and id of each entry: the owner, user 12345, group, mask, others
LIST = struct.pack("<I", 2) + b"".join(struct.pack("<HHI", *entry) for entry in (
    (0x01, 7, 0xFFFFFFFF), (0x02, 7, 12345), (0x04, 5, 0xFFFFFFFF), (0x10, 7, 0xFFFFFFFF), (0x20, 0, 0xFFFFFFFF)))


class Places(WriteOut):
    def refused(self, out, reason):
        """Before the model is read, for which there would be a message of its own."""
        self.assertEqual(run("capture", "--model", "missing", "--out", out, cwd=self.parent),
                         (1, "", f"velstat: {out}: {reason}\n"))

    def test_symbolic_link_is_refused_before_the_capture(self):
        (self.parent / "folder").mkdir()
        self.out.symlink_to("folder")
        (self.parent / "dangling").symlink_to("nowhere")
        for name in ("out", "out/", "out///", self.out, "dangling", "dangling/"):
            self.refused(name, "is a symbolic link: name the folder itself")
        self.assertEqual(self.names(), ["dangling", "folder", "out"])
        self.assertEqual(list((self.parent / "folder").iterdir()), [])

    def test_what_is_no_new_folder_is_refused_before_the_capture(self):
        for name in (".", "..", "./", "/", "//", "../parent/."):
            self.refused(name, "cannot be replaced: name a new folder")
        self.refused("/proc/self", "is a symbolic link: name the folder itself")
        self.refused("/proc", "exists and is not empty" if not os.path.ismount("/proc") else
                     "is a mount point and cannot be replaced: name a new folder in it")
        (self.parent / "file").touch()
        self.refused("file", "exists and is no folder")
        self.refused("file/out", "Not a directory")
        self.refused("none/out", "No such file or directory")
        self.refused("x" * 256, "File name too long")
        os.mkfifo(self.parent / "pipe")
        self.refused("pipe", "exists and is no folder")
        self.assertEqual(self.names(), ["file", "pipe"])

    def test_longest_name_is_taken(self):
        name = "x" * 255
        self.assertEqual(run(*self.arguments(self.parent / name))[0], 0)
        self.require_whole(self.parent / name)

    def test_path_through_a_link_is_taken(self):
        (self.parent / "link").symlink_to(".")
        self.assertEqual(run(*self.arguments(self.parent / "link" / "out"))[0], 0)
        self.require_whole(self.out)

    def capture_into_existing(self):
        status, _, error = run(*self.arguments())
        self.assertEqual((status, error), (0, ""))
        self.require_whole(self.out)
        self.assertEqual(self.names(), ["out"])
        return self.out.stat()

    def test_existing_folder_keeps_its_mode(self):
        for mode in (0o700, 0o755, 0o777, 0o1777, 0o2770, 0o500, 0o555):
            with self.subTest(oct(mode)):
                self.clear()
                self.out.mkdir()
                self.out.chmod(mode)
                self.assertEqual(stat.S_IMODE(self.capture_into_existing().st_mode), mode)
                self.out.chmod(0o700)

    def test_new_folder_has_the_mode_of_any_new_folder(self):
        before = os.umask(0o22)
        self.addCleanup(os.umask, before)
        for mask in (0o22, 0o77, 0o2, 0o277, 0o777):
            with self.subTest(oct(mask)):
                self.clear()
                os.umask(mask)
                status = run(*self.arguments())[0]
                os.umask(0o22)
                self.assertEqual((status, stat.S_IMODE(self.out.stat().st_mode)), (0, 0o777 & ~mask))
                self.out.chmod(0o700)

    def test_new_folder_takes_the_group_of_its_parent_where_that_is_wanted(self):
        self.parent.chmod(0o2755)
        self.assertEqual(run(*self.arguments())[0], 0)
        self.assertEqual(stat.S_IMODE(self.out.stat().st_mode) & stat.S_ISGID, stat.S_ISGID)

    def test_existing_folder_keeps_its_access_control_list(self):
        self.out.mkdir()
        os.setxattr(self.out, "system.posix_acl_access", LIST)
        os.setxattr(self.out, "system.posix_acl_default", LIST)
        mode = self.out.stat().st_mode
        self.assertEqual(self.capture_into_existing().st_mode, mode)
        self.assertEqual(os.getxattr(self.out, "system.posix_acl_access"), LIST)
        self.assertEqual(os.getxattr(self.out, "system.posix_acl_default"), LIST)
        # As of any file that is made in such a folder: 12345 may read and write it.
        entries = os.getxattr(self.out / "manifest.json", "system.posix_acl_access")
        self.assertIn(struct.pack("<HHI", 0x02, 7, 12345), entries)

    def test_existing_folder_does_not_take_the_list_of_its_parent(self):
        self.out.mkdir()
        os.setxattr(self.parent, "system.posix_acl_default", LIST)
        self.capture_into_existing()
        self.assertEqual([name for name in os.listxattr(self.out) if "acl" in name], [])

    def test_existing_folder_keeps_its_group(self):
        # Somebody who is in one group only can have no folder of another.
        group = 12345 if os.geteuid() == 0 else (set(os.getgroups()) - {os.getegid()} or {os.getegid()}).pop()
        self.out.mkdir()
        os.chown(self.out, -1, group)
        self.out.chmod(0o2750)
        found = self.capture_into_existing()
        self.assertEqual((found.st_gid, stat.S_IMODE(found.st_mode)), (group, 0o2750))
        self.assertEqual((self.out / "manifest.json").stat().st_gid, group)

    def test_folder_that_is_filled_meanwhile_is_left_alone(self):
        """By then the place has been looked at: the model is read after that."""
        self.out.mkdir()
        model = self.parent.parent / "pipe"
        os.mkfifo(model)
        capture = subprocess.Popen([VELSTAT, "capture", "--model", model, "--out", self.out], env=ENVIRONMENT,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        with open(model, "w") as writer:
            (self.out / "mine").touch()
            writer.write("{}")
        self.assertEqual((capture.communicate(timeout=60)[1], capture.returncode),
                         (f"velstat: {self.out}: Directory not empty\n", 1))
        self.assertEqual([path.name for path in self.out.iterdir()], ["mine"])
        self.assertEqual(self.names(), ["out"])


if __name__ == "__main__":
    unittest.main()
