"""The real program with system calls that fail, or that it is killed at, in a sweep over each call's occurrences.

injected_faults.py PROGRAM FOLDER CASES

Each case edits a tree, runs its job under strace with one fault, judges what is there, and lets the job run again
undisturbed. CASES is how many occurrences of a call are tried for each fault; 0: all of them.
"""
import os, plistlib, random, re, shutil, subprocess, sys

program, folder, cases = sys.argv[1], sys.argv[2], int(sys.argv[3])
store = os.environ["LUMISK_HOME"] + "/Library/Preferences/com.qelcorporation.lumisk.plist"
dice = random.Random(5)
failures = 0
count = 0

# What a kill can come at: every call that changes something, and some that do not.
CHANGES = "write,copy_file_range,renameat,renameat2,rename,linkat,symlinkat,mkdirat,mkdir,unlinkat,unlink,fchmod,fchown,utimensat,fsetxattr,ftruncate,fsync,syncfs,openat,close".split(",")
ERRORS = {
    "getdents64": ["EIO", "EACCES"], "statx": ["EACCES", "EIO", "ESTALE"], "openat": ["EMFILE", "EACCES", "ENOSPC"],
    "read": ["EIO"], "write": ["ENOSPC", "EIO", "EDQUOT"], "copy_file_range": ["EXDEV", "EIO", "ENOSPC"],
    "renameat": ["ENOSPC", "EXDEV"], "renameat2": ["EIO", "EINVAL", "EROFS"], "linkat": ["EMLINK", "EIO", "EPERM"],
    "symlinkat": ["EDQUOT"], "mkdirat": ["ENOSPC", "EROFS"], "unlinkat": ["EIO", "EBUSY"], "close": ["EIO", "ENOSPC", "EINTR"],
    "fsync": ["EIO", "ENOSPC"], "syncfs": ["EIO"], "fchmod": ["EPERM", "EIO"], "fchown": ["EPERM", "EIO"], "utimensat": ["EACCES", "EIO"],
    "fsetxattr": ["ENOSPC", "EIO"], "flistxattr": ["EIO"], "readlinkat": ["EIO"], "flock": ["EINTR", "ENOLCK"],
    "fcntl": ["EMFILE"], "lseek": ["EIO"], "ftruncate": ["EIO"], "sync_file_range": ["EIO"], "fstatfs": ["EIO"], "fstat": ["EIO"],
}


def fail(text):
    global failures
    failures += 1
    print("FAILED:", text, flush=True)
    if failures > 10: sys.exit(1)


def run(*arguments, call=None, inject=None):
    command = [program, *arguments]
    if call:
        traced = ["strace", "-f", "-qq", "-o", folder + "/trace", "-e", "trace=" + call]
        command = traced + (["-e", "inject=%s:%s" % (call, inject)] if inject else []) + command
    return subprocess.run(command, capture_output=True, timeout=120, text=True, errors="replace")


def occurrences(*arguments, call):
    run(*arguments, call=call)
    return len(re.findall(r"^\d+ +%s\(" % call, open(folder + "/trace").read(), re.M))


def chosen(total):
    return range(1, total + 1) if cases == 0 or total <= cases else sorted(dice.sample(range(1, total + 1), cases))


def text_of(size=0):
    global count
    count += 1
    return "text %d %send %d\n" % (count, "x" * size, count)


def is_whole(text):
    return re.fullmatch(r"text (\d+) x*end \1\n", text) is not None


def contents(side):
    found = {}
    for above, folders, names in os.walk(side):
        folders[:] = [name for name in folders if name != "Revision" and not name.startswith(".Trash")]
        for name in names:
            path = os.path.join(above, name)
            if re.match(r"\.lumisk|_...QelLumiskinfo|earlier-version", name): continue
            found[os.path.relpath(path, side)] = os.readlink(path) if os.path.islink(path) else open(path).read()
    return found


# Where a file goes that the home's Trash cannot take, and what others have there.
def volume_trash():
    top = folder
    while not os.path.ismount(top): top = os.path.dirname(top)
    return os.path.join(top, ".Trash-%d/files" % os.getuid())


others_trash = set(os.listdir(volume_trash())) if os.path.isdir(volume_trash()) else set()


def texts():
    found = set()
    for root in (folder, os.environ["LUMISK_HOME"], volume_trash()):
        for above, folders, names in os.walk(root):
            if root == volume_trash() == above:
                folders[:], names = set(folders) - others_trash, set(names) - others_trash
            for name in names:
                path = os.path.join(above, name)
                text = os.readlink(path) if os.path.islink(path) else open(path, errors="replace").read()
                if text.startswith("text "): found.add(text)
    return found


class Job:
    def __init__(self, kind, *options):
        self.kind, self.name = kind, kind
        self.source, self.root = "%s/%s-s" % (folder, kind), "%s/%s-t" % (folder, kind)
        self.target = self.root if kind == "sync" else self.root + "/" + os.path.basename(self.source)
        for path in (self.source + "/d/e", self.root): os.makedirs(path)
        for number in range(5): self.put(self.source, "f%d" % number)
        self.put(self.source, "d/e/deep")
        done = run("job", "add", self.name, "--type", kind, "--source", self.source, "--target", self.root, "--manual", *options)
        assert done.returncode == 0, done.stderr
        self.again("at first")

    def put(self, side, name, size=0):
        path = os.path.join(side, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w") as file: file.write(text_of(size))

    # What is due to go from the other side is remembered: no other name may.
    def edit(self):
        self.due = {self.source: set(), self.target: set()}
        self.put(self.source, "f1")
        self.put(self.source, "d/e/deep")
        self.put(self.source, "large", 1500000)
        self.put(self.source, "n%d/new" % (count % 3))
        self.drop(self.source, self.target, "f2" if count % 2 else "d/f3")
        self.put(self.source, "d/f3" if count % 2 else "f2")
        if os.path.lexists(self.source + "/link"): os.remove(self.source + "/link")
        os.symlink("text %d end %d\n" % (count, count), self.source + "/link")
        if self.kind == "backup": return
        self.put(self.target, "f1")
        self.put(self.target, "there")
        self.drop(self.target, self.source, "f4")

    def drop(self, side, other, name):
        if not os.path.exists(os.path.join(side, name)): return self.put(side, name)
        os.remove(os.path.join(side, name))
        self.due[other].add(name)

    def judge(self, before, sides, case):
        lost = before - texts()
        if lost: fail("%s: lost %s" % (case, sorted(text[:20] for text in lost)))
        for side, names in sides.items():
            now = contents(side)
            if side == self.source and self.kind == "backup" and now != names: fail("%s: the source has changed" % case)
            for name in names:
                if name not in now and name not in self.due[side]: fail("%s: %s has gone from %s" % (case, name, side))
            for name, text in now.items():
                if not is_whole(text): fail("%s: %s/%s is not whole: %r" % (case, side, name, text[:40]))

    def again(self, case):
        done = run("run", self.name)
        if done.returncode != 0: done = run("run", self.name)
        if self.kind != "backup": done = run("run", self.name)  # what lost a conflict goes over with the second
        here, there = contents(self.source), contents(self.target)
        if done.returncode != 0 or here != there:
            fail("%s: the next run: status %d, %s\n%s" % (case, done.returncode, sorted(set(here) ^ set(there)), done.stdout + done.stderr))
        for above, _, names in (entry for side in (self.source, self.root) for entry in os.walk(side)):
            for name in names:
                if name.startswith(".lumisk-"): fail("%s: left %s" % (case, os.path.join(above, name)))

    def sweep(self, call, inject, is_kill):
        self.edit()
        # A run of such edits tells how often the call comes.
        total = occurrences("run", self.name, call=call)
        self.again(call)
        for number in chosen(total):
            case = "%s, %s %s of %d/%d" % (self.kind, inject, call, number, total)
            self.edit()
            before, sides = texts(), {side: contents(side) for side in (self.source, self.target)}
            done = run("run", self.name, call=call, inject="%s:when=%d" % (inject, number))
            if not is_kill and (done.returncode < 0 or done.returncode > 127): fail("%s: status %d: %s" % (case, done.returncode, done.stderr))
            self.judge(before, sides, case)
            if done.returncode == 0 and contents(self.source) != contents(self.target) and self.kind == "backup":
                fail("%s: said to be done, and is not" % case)
            self.again(case)


def names_stored():
    return [job["NSObjectName"] for job in plistlib.load(open(store, "rb"))["Qel LumiskSettings"]]


# The store: before and after are the only states that there are.
def sweep_store():
    source, target = folder + "/store-s", folder + "/store-t"
    os.makedirs(source), os.makedirs(target)
    for call in CHANGES:
        run("job", "add", "gone", "--source", source, "--target", target, "--manual")
        total = occurrences("job", "remove", "gone", call=call)
        for number in chosen(total):
            for fault in ["signal=KILL"] + ["error=" + error for error in ERRORS.get(call, ["EIO"])[:1]]:
                case = "store, %s %s of %d/%d" % (fault, call, number, total)
                before = names_stored()
                name = "job%d" % (number % 3)
                command = ("job", "remove", name) if name in before else ("job", "add", name, "--source", source, "--target", target, "--manual")
                done = run(*command, call=call, inject="%s:when=%d" % (fault, number))
                now = names_stored()
                wanted = [one for one in before if one != name] if name in before else before + [name]
                if now not in (before, wanted): fail("%s: %s became %s" % (case, before, now))
                if done.returncode == 0 and now != wanted: fail("%s: said to be done, and is not" % case)
        for above, _, names in os.walk(os.environ["LUMISK_HOME"]):
            for name in names:
                if "damaged" in name: fail("%s: set aside %s" % (call, name))


jobs = [Job("backup", "--delete", "--revisions", "all"), Job("sync-revisions", "--revisions", "all"), Job("sync", "--conflict", "newer")]
for place, call in enumerate(CHANGES):
    for job in [jobs[place % 3]] if cases == 1 else jobs: job.sweep(call, "signal=KILL", True)
for place, (call, errors) in enumerate(ERRORS.items()):
    for turn, error in enumerate(errors if cases == 0 else [errors[place % len(errors)]]):
        for job in jobs if cases == 0 else [jobs[place % 3]]: job.sweep(call, "error=" + error, False)
sweep_store()
print("%d texts" % count)
sys.exit(1 if failures else 0)
