"""playbook_cost.py FILE COMMAND... - runs a command and writes to FILE what its ansible processes cost: seconds,
seconds of CPU (including their child processes), and the most memory that they used at one time, in KiB; pages shared
by processes count once."""
import glob, os, resource, subprocess, sys, time

begun = time.monotonic()
command = subprocess.Popen(sys.argv[2:], start_new_session=True)
most = 0
while command.poll() is None:
    memory = 0
    for folder in glob.glob("/proc/[0-9]*"):
        try:
            if os.getsid(int(folder[6:])) != command.pid:
                continue
            if b"ansible-playbook" in open(folder + "/cmdline", "rb").read():
                lines = open(folder + "/smaps_rollup")
                memory += sum(int(line.split()[1]) for line in lines if line.startswith("Pss:"))
        except OSError:
            pass  # it has ended
    most = max(most, memory)
    time.sleep(0.05)
used = resource.getrusage(resource.RUSAGE_CHILDREN)
with open(sys.argv[1], "w") as file:
    print(f"{time.monotonic() - begun:.1f} {used.ru_utime + used.ru_stime:.1f} {most}", file=file)
sys.exit(command.returncode)
