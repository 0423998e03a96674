#!/usr/bin/env python3
"""Reads what strace saw of a run and tells what in it would have changed the desk: files outside the directories that
are allowed, signals to processes that the run did not start, and the machine's clock, network, mounts and power.

  desk_watch.py LOG --cwd DIR --allow DIR ...    exit status 1 with a line for each violation
  desk_watch.py --calls                          the system calls that strace must trace, for its -e trace=
  desk_watch.py --self-test                      whether each kind of violation is noticed, and nothing else is
"""
import argparse
import collections
import os
import re
import sys

# Of each call: the arguments that are paths, as (directory descriptor or None, path). All of them change files.
PATHS = {
    "creat": [(None, 0)], "truncate": [(None, 0)], "unlink": [(None, 0)], "rmdir": [(None, 0)], "mkdir": [(None, 0)],
    "mknod": [(None, 0)], "chmod": [(None, 0)], "chown": [(None, 0)], "lchown": [(None, 0)], "utime": [(None, 0)],
    "utimes": [(None, 0)], "symlink": [(None, 1)], "link": [(None, 1)], "rename": [(None, 0), (None, 1)],
    "unlinkat": [(0, 1)], "mkdirat": [(0, 1)], "mknodat": [(0, 1)], "fchmodat": [(0, 1)], "fchownat": [(0, 1)],
    "utimensat": [(0, 1)], "symlinkat": [(1, 2)], "linkat": [(2, 3)], "renameat": [(0, 1), (2, 3)],
    "renameat2": [(0, 1), (2, 3)], "setxattr": [(None, 0)], "lsetxattr": [(None, 0)], "removexattr": [(None, 0)],
}
MACHINE = {"clock_settime", "settimeofday", "adjtimex", "clock_adjtime", "reboot", "sethostname", "setdomainname",
           "mount", "umount2", "pivot_root", "chroot", "swapon", "swapoff", "init_module", "finit_module",
           "delete_module", "kexec_load", "iopl", "ioperm", "ptrace", "process_vm_writev", "setns", "unshare",
           "open_by_handle_at", "bpf", "perf_event_open", "acct", "quotactl", "syslog"}
OPENED = {"fchmod", "fchown", "fsetxattr", "fremovexattr"}  # of a file that may be open for reading only
SIGNALS = {"kill": 0, "tkill": 0, "tgkill": 0, "rt_sigqueueinfo": 0, "rt_tgsigqueueinfo": 0, "pidfd_open": 0,
           "prlimit64": 0, "setpriority": 1, "sched_setaffinity": 0, "sched_setscheduler": 0, "sched_setattr": 0}
STARTS = {"clone", "clone3", "fork", "vfork"}
PLACES = {"chdir", "fchdir"}
OPENS = {"open", "openat", "openat2"}
OTHER = {"bind", "socket", "ioctl", "execve", "execveat"}
CALLS = set(PATHS) | MACHINE | OPENED | set(SIGNALS) | STARTS | PLACES | OPENS | OTHER
# Devices that keep nothing.
SINKS = {"/dev/null", "/dev/zero", "/dev/full", "/dev/tty"}
# Temporary, whatever TMPDIR says: where the test library captures an output, and the fuzzers' board in memory.
TEMPORARY = re.compile(r"/tmp/gtest_captured_stream\.\w{6}$|/dev/shm/kadrend-fuzz-\w{6}(/|$)")
HARMFUL_PROGRAMS = {"reboot", "shutdown", "poweroff", "halt", "hwclock", "ifconfig", "ip", "route", "mount",
                    "umount", "kill", "killall", "pkill", "systemctl", "hostname", "sysctl", "insmod", "dd"}

LINE = re.compile(r"(\d+)\s+(?:<\.\.\. )?(\w+)( resumed>|\()(.*)")
TEXT = re.compile(r'"((?:[^"\\]|\\.)*)"')
FD = re.compile(r"^(-?\d+|AT_FDCWD)(?:<(.*)>)?")
UNREADABLE = re.compile(r"^(?:[^\",]*, )?0x[0-9a-f]+, ")  # the first path of a call
RESULT = re.compile(r"\)\s+= (-?\d+)(?:<(.*)>)?(?: .*)?$")


def arguments(text):
    """The arguments of a call, split at its outermost commas."""
    found, depth, quoted, part, skip = [], 0, False, "", False
    for c in text:
        if skip:
            skip = False
        elif quoted:
            skip = c == "\\"
            quoted = c != '"'
        elif c == '"':
            quoted = True
        elif c in "([{<":
            depth += 1
        elif c in ")]}>" and depth > 0:
            depth -= 1
        elif c == ")":
            break
        elif c == "," and depth == 0:
            found.append(part.strip())
            part = ""
            continue
        part += c
    return found + [part.strip()]


class Process:
    def __init__(self, cwd, files=()):
        self.cwd = cwd
        self.files = dict(files)  # descriptor -> path


class Watch:
    def __init__(self, cwd, allowed):
        self.cwd = os.path.realpath(cwd)
        self.allowed = [os.path.realpath(path) for path in allowed]
        self.processes = {}
        self.started = set()
        self.signalled = []  # (who, whom, the call)
        self.violations = []
        self.counts = collections.Counter()
        self.programs = collections.Counter()

    def read(self, lines):
        lines = [match.groups() for match in map(LINE.match, lines) if match]
        children = self.children(lines)
        unmade = self.without_result(lines)
        unfinished = {}  # pid -> the arguments of a call whose result comes later
        for i, (pid, call, mark, rest) in enumerate(lines):
            process = self.processes.setdefault(pid, Process(self.cwd))
            self.started.add(int(pid))
            self.remember(process, rest)
            if call in ("mkdir", "mkdirat"):  # its result tells whether it only looked if the directory is there
                if rest.endswith("<unfinished ...>"):
                    unfinished[pid] = rest
                    continue
                rest = rest if mark == "(" else unfinished.pop(pid, "") + rest
            elif mark != "(" or call not in CALLS:
                continue
            if i in children:
                child, thread = children[i]
                self.started.add(int(child))
                self.processes[child] = process if thread else Process(process.cwd, process.files)
            if i in unmade and UNREADABLE.search(rest):
                continue
            self.look(process, call, rest, pid)
        for pid, target, text in self.signals():  # now that all that was started is known
            if target not in self.started:
                self.violate(pid, text, "a process that the run did not start")
        return self.violations

    @staticmethod
    def children(lines):
        """Line of each starting call -> (pid of the child, whether it is a thread)."""
        found, begun = {}, {}
        for i, (pid, call, _, rest) in enumerate(lines):
            if call not in STARTS:
                continue
            begun.setdefault(pid, (i, "CLONE_THREAD" in rest))
            result = RESULT.search(rest)
            if result:
                line, thread = begun.pop(pid)
                if int(result[1]) > 0:
                    found[line] = (result[1], thread)
        return found

    @staticmethod
    def without_result(lines):
        """Lines of calls in which the process was killed. Where then not even the name can be read, it was killed
        before the call was made: the kernel leaves such a call out."""
        killed, begun = set(), {}
        for i, (pid, _, mark, rest) in enumerate(lines):
            if mark == "(":
                killed.update({begun.pop(pid)} if pid in begun else ())
                if rest.endswith("<unfinished ...>"):
                    begun[pid] = i
            elif RESULT.search(rest):
                begun.pop(pid, None)
        return killed.union(begun.values())

    @staticmethod
    def remember(process, rest):
        result = RESULT.search(rest)
        if result and result[2]:
            process.files[result[1]] = result[2]

    def look(self, process, call, rest, pid):
        if "= -1 EEXIST" in rest and call.startswith("mkdir"):
            return
        values = arguments(rest)
        self.counts[call] += 1
        text = f"{call}({rest}"
        if call in OPENS:
            self.look_at_open(process, call, rest, values, pid)
        elif call in PATHS:
            for directory, path in PATHS[call]:
                if path < len(values):
                    self.require_inside(process, values, directory, path, pid, text)
        elif call == "bind" and "sun_path=" in rest and "sun_path=@" not in rest:
            self.require_path(process, TEXT.search(rest)[1], None, pid, text)
        elif call == "bind" and "AF_INET" in rest or call == "socket" and not values[0].startswith("AF_UNIX"):
            self.violate(pid, text, "the network")
        elif call == "ioctl" and re.match(r"SIOCS|SIOCADD|SIOCDEL|RTC_\w*SET|TIOCSTI", values[1]):
            self.violate(pid, text, "the machine")
        elif call in OPENED:
            self.require(FD.match(values[0])[2] or "unknown", pid, text)
        elif call in MACHINE:
            self.violate(pid, text, "the machine")
        elif call in SIGNALS:
            self.signalled.append((pid, values[SIGNALS[call]], text))
        elif call in PLACES and "= -1" not in rest:
            self.move(process, call, values)
        elif call.startswith("execve"):
            self.look_at_program(rest, pid, text)

    def look_at_program(self, rest, pid, text):
        path = TEXT.search(rest)
        name = os.path.basename(path[1]) if path else ""
        if "= -1" in rest:
            return
        self.programs[name] += 1
        if name in HARMFUL_PROGRAMS:
            self.violate(pid, text, "a program that changes the machine")

    def signals(self):
        for pid, value, text in self.signalled:
            target = int(value) if re.match(r"-?\d+$", value) else -1
            if target == 0:  # the caller, or the group in which it was started
                continue
            yield pid, -target if target < -1 else target, text

    def look_at_open(self, process, call, rest, values, pid):
        directory, path = (None, 0) if call == "open" else (0, 1)
        flags = values[path + 1] if len(values) > path + 1 else ""
        if not re.search(r"O_WRONLY|O_RDWR|O_CREAT|O_TRUNC|O_TMPFILE", flags):
            return
        result = RESULT.search(rest)
        if result and result[2]:  # what was opened in truth, links followed
            opened = re.sub(r"<char \d+:\d+>$| \(deleted\)$|\(deleted\)$", "", result[2])
            self.require(opened, pid, f"{call}({rest}")
        else:
            self.require_inside(process, values, directory, path, pid, f"{call}({rest}")

    def require_inside(self, process, values, directory, path, pid, text):
        quoted = TEXT.match(values[path])
        if quoted:
            self.require_path(process, quoted[1], values[directory] if directory is not None else None, pid, text)
        elif "NULL" not in values[path]:
            self.violate(pid, text, "a path that cannot be read")

    def require_path(self, process, path, directory, pid, text):
        base = process.cwd
        if directory:
            match = FD.match(directory)
            base = match[2] or process.files.get(match[1], base)
        link = re.match(r"/proc/(?:self|thread-self|\d+)/fd/(\d+)(/.*|$)", path)
        if link:
            if link[1] not in process.files:
                self.violate(pid, text, "a descriptor that cannot be followed")
                return
            path = process.files[link[1]] + link[2]
        self.require(os.path.join(base, path), pid, text)

    def require(self, path, pid, text):
        path = os.path.normpath(path)
        if path in SINKS or TEMPORARY.match(path) or re.match(r"/proc/(self|thread-self|\d+)/(task/\d+/)?comm$", path):
            return
        if re.match(r"(pipe|socket|anon_inode|memfd):|/memfd:", path):
            return
        real = os.path.join(os.path.realpath(os.path.dirname(path)), os.path.basename(path))
        if not any(real == root or real.startswith(root + "/") for root in self.allowed):
            self.violate(pid, text, "outside: " + real)

    def move(self, process, call, values):
        if call == "fchdir":
            process.cwd = FD.match(values[0])[2] or process.cwd
        else:
            process.cwd = os.path.normpath(os.path.join(process.cwd, TEXT.match(values[0])[1]))

    def violate(self, pid, text, why):
        self.violations.append(f"{why}: [{pid}] {text.strip()[:200]}")


def self_test():
    clean = """\
10 execve("/b/test", ["test"], 0x7ff /* 3 vars */) = 0
10 openat(AT_FDCWD</b>, "/etc/passwd", O_RDONLY|O_CLOEXEC) = 3</etc/passwd>
10 openat(AT_FDCWD</b>, "/t/x", O_RDONLY|O_PATH) = 4</t/x>
10 clone3({flags=CLONE_VM|CLONE_THREAD, child_tid=0x7, stack=0x7} <unfinished ...>
11 bind(5<socket:[1]>, {sa_family=AF_UNIX, sun_path="/proc/self/fd/4/bus/1.new"}, 110) = 0
10 <... clone3 resumed> => {parent_tid=[11]}, 88)   = 11
10 fchmod(8<socket:[2]>, 0600 <unfinished ...>
10 <... fchmod resumed>)    = 0
10 mkdir("/", 0777 <unfinished ...>
10 <... mkdir resumed>)    = -1 EEXIST (File exists)
11 rename("/proc/self/fd/4/bus/1.new", "/proc/self/fd/4/bus/1") = 0
10 openat(4</t/x>, "f", O_RDWR|O_CREAT, 0600) = 6</t/x/f>
10 openat(AT_FDCWD</b>, "/dev/null", O_WRONLY) = 7</dev/null<char 1:3>>
10 clone(child_stack=NULL, flags=SIGCHLD) = 12
12 chdir("/t") = 0
12 mkdir("y", 0777) = 0
10 kill(12, SIGKILL) = 0
10 tgkill(10, 11, SIGABRT) = 0
10 socket(AF_UNIX, SOCK_DGRAM|SOCK_CLOEXEC, 0) = 8<socket:[2]>
10 ioctl(1</dev/null>, TCGETS, 0x7) = -1 ENOTTY (Inappropriate ioctl for device)
12 openat(AT_FDCWD</b>, 0x55d0c95bd860, O_RDWR|O_CLOEXEC <unfinished ...>
12 <... openat resumed>) = ?
""".splitlines()
    bad = """\
10 openat(AT_FDCWD</b>, "/etc/x", O_WRONLY|O_CREAT, 0600) = 9</etc/x>
10 openat(AT_FDCWD</b>, "/t/link", O_WRONLY) = 9</etc/y>
10 openat(AT_FDCWD</b>, "/t/../etc/x", O_WRONLY|O_CREAT) = -1 EACCES (Permission denied)
10 unlink("/tx") = 0
10 mkdir("../x", 0777) = 0
10 mkdir("/x", 0777 <unfinished ...> ;; 10 <... mkdir resumed>)   = 0
10 rename("/t/a", "/var/a") = 0
10 linkat(AT_FDCWD</b>, "/t/a", AT_FDCWD</b>, "/root/a", 0) = 0
10 unlinkat(4</t/x>, "../../etc/f", 0 <unfinished ...>
10 openat(AT_FDCWD</b>, 0x55d0c95bd860, O_RDWR <unfinished ...> ;; 10 <... openat resumed>) = 9
10 openat(AT_FDCWD</b>, "/etc/x", O_RDWR <unfinished ...> ;; 10 <... openat resumed>) = ?
10 chmod("/etc/shadow", 0666) = 0
10 fchmod(3</etc/passwd>, 0666) = 0
10 bind(5<socket:[1]>, {sa_family=AF_UNIX, sun_path="/run/s"}, 110) = 0
10 bind(5<socket:[1]>, {sa_family=AF_INET, sin_port=htons(80)}, 16) = 0
10 socket(AF_NETLINK, SOCK_RAW, NETLINK_ROUTE) = 8<socket:[2]>
10 rename("/proc/self/fd/99/a", "/t/a") = 0
10 kill(1, SIGTERM) = 0
10 kill(-1, SIGKILL) = 0
10 tgkill(99, 99, SIGABRT) = 0
10 clock_settime(CLOCK_REALTIME, {tv_sec=0, tv_nsec=0}) = -1 EPERM (Operation not permitted)
10 settimeofday({tv_sec=0, tv_usec=0}, NULL) = 0
10 reboot(LINUX_REBOOT_MAGIC1, LINUX_REBOOT_MAGIC2, LINUX_REBOOT_CMD_RESTART) = -1 EPERM
10 ioctl(5<socket:[1]>, SIOCSIFADDR, {ifr_name="eth0"}) = 0
10 execve("/sbin/reboot", ["reboot"], 0x7ff /* 3 vars */) = 0
""".splitlines()

    def judge(lines):
        return Watch("/b", ["/b", "/t"]).read(lines)

    failures = [f"noticed without reason: {line}" for line in judge(clean)]
    failures += [f"not noticed: {line}" for line in bad if len(judge(clean + line.split(" ;; "))) != 1]
    print("\n".join(failures) or f"desk_watch: notices {len(bad)} kinds of violation, and nothing in {len(clean)} lines")
    return 1 if failures else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("log", nargs="?")
    parser.add_argument("--cwd", default=".")
    parser.add_argument("--allow", action="append", default=[])
    parser.add_argument("--calls", action="store_true")
    parser.add_argument("--self-test", action="store_true")
    options = parser.parse_args()
    if options.self_test:
        return self_test()
    if options.calls:
        print(",".join("?" + call for call in sorted(CALLS)))
        return 0
    watch = Watch(options.cwd, options.allow)
    with open(options.log, encoding="utf-8", errors="replace") as log:
        violations = watch.read(log)
    for violation in violations[:50]:
        print(violation)
    writes = sum(watch.counts[call] for call in PATHS) + watch.counts["bind"]
    signals = sum(watch.counts[call] for call in SIGNALS)
    print(f"{len(watch.started)} processes and threads, {sum(watch.programs.values())} programs, "
          f"{sum(watch.counts[call] for call in OPENS)} files opened, {writes} changes of names, {signals} signals; "
          f"{len(violations)} violations")
    if not watch.programs:
        print("nothing was watched")
    return 1 if violations or not watch.programs else 0


if __name__ == "__main__":
    sys.exit(main())
