"""A daemon with jobs of all kinds under a user who never rests: edits on all sides, commands, and kills.

soak.py PROGRAM FOLDER SECONDS JOBS SEED

At the end nothing stirs any more and every job runs: both sides of each must be the same then, everything that the user
put somewhere and did not remove himself must still stand somewhere, and what the daemon holds (memory, descriptors,
threads) must not have grown over the time.
"""
import json, os, random, re, shutil, signal, subprocess, sys, time

program, folder, seconds, job_count, seed = sys.argv[1], sys.argv[2], float(sys.argv[3]), int(sys.argv[4]), int(sys.argv[5])
dice = random.Random(seed)
print("seed", seed, flush=True)
problems = []


def problem(text):
    problems.append(text)
    print("FAILED:", text, flush=True)


def lumisk(*arguments, patience=60):
    """Its status and output; None where it does not answer in time."""
    try:
        done = subprocess.run([program, *arguments], capture_output=True, timeout=patience)
    except subprocess.TimeoutExpired:
        problem("no answer to " + " ".join(arguments))
        return None, ""
    if done.returncode < 0: problem("%s ended by signal %d" % (arguments, -done.returncode))
    return done.returncode, done.stdout.decode(errors="replace")


class Daemon:
    def start(self):
        self.process = subprocess.Popen([program, "daemon"], stdout=subprocess.PIPE, stderr=open(folder + "/daemon.err", "a"))
        line = self.process.stdout.readline()
        if not line.startswith(b"lumisk: daemon: running"): problem("the daemon does not start: %r" % line)
        self.began, self.samples = time.monotonic(), []

    def kill(self):
        self.process.kill()
        self.process.wait()

    def end(self):
        self.process.terminate()
        if self.process.wait(120) != 0: problem("the daemon ended with %s" % self.process.returncode)

    def sample(self):
        proc = "/proc/%d/" % self.process.pid
        try:
            status = open(proc + "status").read()
            found = (int(re.search(r"VmRSS:\s+(\d+)", status)[1]), len(os.listdir(proc + "fd")), int(re.search(r"Threads:\s+(\d+)", status)[1]))
        except (OSError, TypeError):
            problem("the daemon has ended by itself: %s" % self.process.poll())
            self.start()
            return
        self.samples.append((time.monotonic() - self.began, *found))


class Job:
    def __init__(self, number):
        self.number, self.name = number, "job %d" % number
        self.source, self.root = "%s/s%d" % (folder, number), "%s/t%d" % (folder, number)
        self.kind = ("backup", "sync", "sync-revisions")[number % 3]
        self.target = self.root if self.kind == "sync" else self.root + "/s%d" % number
        self.schedule = (["--realtime"], ["--every", "1m"], weekdays(), ["--manual"])[number // 3 % 4]
        self.live = {}  # what the user put: text -> the side, as far as he knows
        os.makedirs(self.source)
        os.makedirs(self.root)
        for _ in range(6): self.write(self.source)

    def add(self):
        kind = ["--type", self.kind] + {"backup": ["--delete"], "sync": ["--conflict", dice.choice(("newer", "source", "target", "both"))]}.get(self.kind, [])
        kept = ["--revisions", "all"] if self.kind == "sync-revisions" or self.number % 2 else ["--revisions", "none"]
        status, _ = lumisk("job", "add", self.name, "--source", self.source, "--target", self.root, *kind, *kept, *self.schedule)
        if status != 0: problem("job add: status %s" % status)

    def sides(self):
        return [self.source] if self.kind == "backup" else [self.source, self.target]

    def somewhere(self, side):
        return os.path.join(side, *dice.choice((["a"], ["b"], ["c"], ["d", "a"], ["d", "b"], ["d", "e", "f"], ["g", "h"])))

    def write(self, side):
        global count
        path = self.somewhere(side)
        count += 1
        text = "text %d of %s" % (count, self.number)
        try:
            os.makedirs(os.path.dirname(path), exist_ok=True)
            if dice.random() < 0.5:
                self.forget(side, path)
                with open(path, "w") as file: file.write(text)
            else:
                with open(path + ".part~", "w") as file: file.write(text)
                self.forget(side, path)
                os.rename(path + ".part~", path)
        except OSError:
            return  # a folder stands there, or it has gone meanwhile
        self.live[text] = side

    def forget(self, side, path):
        """What stands there is about to go by the user's own doing."""
        for at in [path] if not os.path.isdir(path) else [os.path.join(above, name) for above, _, names in os.walk(path) for name in names]:
            try:
                text = open(at).read()
            except OSError:
                continue
            if self.live.get(text) == side: del self.live[text]

    def edit(self):
        side = dice.choice(self.sides())
        if not os.path.isdir(side): return
        path, what = self.somewhere(side), dice.randrange(10)
        try:
            if what < 6: return self.write(side)
            if what < 8:
                self.forget(side, path)
                return os.remove(path)
            if what < 9:
                self.forget(side, os.path.join(side, "d"))
                return shutil.rmtree(os.path.join(side, "d"))
            other = self.somewhere(side)
            if not os.path.exists(other): os.rename(path, other)
        except OSError:
            pass

    def command(self):
        what = dice.choice(("start", "stop", "disable", "enable", "edit", "rename", "enable"))
        if what == "rename":
            name = "job %d %s" % (self.number, "renamed" * dice.randrange(3))
            if lumisk("job", "rename", self.name, name)[0] == 0: self.name = name
        elif what == "edit":
            changes = [weekdays() if self.schedule[0] == "--weekdays" else self.schedule, ["--revisions", "all"], ["--exclude", dice.choice(("tmp", "bak"))]]
            lumisk("job", "edit", self.name, *dice.choice(changes))
        elif what in ("start", "stop"):
            lumisk(what, self.name)
        else:
            lumisk("job", what, self.name)

    def contents(self, side):
        found = {}
        for above, folders, names in os.walk(side):
            folders[:] = [name for name in folders if name not in ("Revision",) and not name.startswith(".Trash")]
            for name in names:
                if not re.match(r"\.lumisk|_...QelLumiskinfo", name):
                    path = os.path.join(above, name)
                    found[os.path.relpath(path, side)] = os.readlink(path) if os.path.islink(path) else open(path).read()
        return found


def weekdays():
    later = time.localtime(time.time() + 90)
    return ["--weekdays", "sun,mon,tue,wed,thu,fri,sat", "--at", "%02d:%02d" % (later.tm_hour, later.tm_min)]


def watch_growth(daemon):
    """The last quarter of the time against the second: what starts up is done by then."""
    samples, longest = daemon.samples, daemon.samples[-1][0] if daemon.samples else 0
    if longest < 60: return  # it has hardly come up
    second = [s for s in samples if longest / 4 <= s[0] < longest / 2]
    last = [s for s in samples if s[0] >= longest * 3 / 4]
    if len(second) < 5 or len(last) < 5: return
    for place, (what, allowance) in enumerate((("memory in KB", 3000), ("descriptors", 8), ("threads", 4)), 1):
        middle = [sorted(s[place] for s in part)[len(part) // 2] for part in (second, last)]
        print("  %s: %d, then %d after %d s" % (what, *middle, longest), flush=True)
        if middle[1] > middle[0] * 1.05 + allowance: problem("%s grew from %d to %d" % (what, *middle))


def texts_below(root):
    found = set()
    for above, _, names in os.walk(root):
        for name in names:
            path = os.path.join(above, name)
            if os.path.islink(path): continue
            try:
                text = open(path).read()
            except (OSError, UnicodeDecodeError):
                continue
            if text.startswith("text "): found.add(text)
    return found


def states():
    status, text = lumisk("status", "--json")
    return {job["name"]: job for job in json.loads(text)["jobs"]} if status == 0 else {}


def settle(jobs):
    """Every job runs until both sides are the same and it says so itself."""
    for job in jobs: lumisk("job", "enable", job.name)
    left, tries = list(jobs), 0
    end = time.monotonic() + 240
    while left and time.monotonic() < end:
        now = states()
        for job in list(left):
            state = now.get(job.name, {})
            if state.get("running") or state.get("progress"): continue
            if tries > 0 and state.get("completed") and job.contents(job.source) == job.contents(job.target):
                left.remove(job)
            else:
                lumisk("start", job.name)
        tries += 1
        time.sleep(0.5)
    for job in left:
        here, there = job.contents(job.source), job.contents(job.target)
        problem("%s (%s) differs: %s; %s" % (job.name, job.kind, sorted(set(here.items()) ^ set(there.items()))[:6], now.get(job.name)))
        print(lumisk("log", job.name)[1][-3000:])


count = 0
jobs = [Job(number) for number in range(job_count)]
daemon = Daemon()
daemon.start()
for job in jobs: job.add()
deadline = time.monotonic() + seconds
kill_every = min(max(seconds / 12, 3), 40)
next_kill, next_sample = time.monotonic() + kill_every, 0
steps = kills = 0
# The second half of the time goes without kills, so that one daemon lives long enough to be measured.
while time.monotonic() < deadline:
    steps += 1
    dice.choice(jobs).edit()
    if dice.random() < 0.08: dice.choice(jobs).command()
    if dice.random() < 0.02: states()
    now = time.monotonic()
    if now >= next_sample:
        daemon.sample()
        next_sample = now + min(5, seconds / 60)
    if now >= next_kill and now < deadline - seconds / 2:
        daemon.kill()
        kills += 1
        daemon.start()
        next_kill = now + dice.uniform(0.2, 1.8) * kill_every
    time.sleep(dice.uniform(0, 0.03))
watch_growth(daemon)
settle(jobs)
daemon.end()
standing = texts_below(folder) | texts_below(os.environ["LUMISK_HOME"])
for job in jobs:
    for text, side in job.live.items():
        if text not in standing: problem("\"%s\" is gone, which was put into %s" % (text, side))
for above, folders, names in os.walk(folder):
    for name in names:
        if re.fullmatch(r"\.lumisk-[0-9a-f]{12}", name) or "earlier-version" in name:
            (print if "earlier-version" in name else problem)("left behind: " + os.path.join(above, name))
print("%d steps, %d kills, %d texts of which %d were live" % (steps, kills, count, sum(len(job.live) for job in jobs)))
sys.exit(1 if problems else 0)
