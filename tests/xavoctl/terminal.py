"""terminal.py [WORD ANSWER]... -- COMMAND...: runs a command on a terminal of its own and prints what it shows
there. When a WORD appears its ANSWER is typed (escapes as in Python). Ends with its exit status, or
128 and the number of the signal that ended it, which is said last."""
import os, pty, signal, sys

split = sys.argv.index("--")
steps = list(zip(sys.argv[1:split:2], sys.argv[2:split:2]))
child, terminal = pty.fork()
if child == 0:
    signal.signal(signal.SIGINT, signal.SIG_DFL)  # it is ignored where the tests run in the background
    os.execvp(sys.argv[split + 1], sys.argv[split + 1:])
shown = b""
while True:
    try:
        shown += os.read(terminal, 4096)
    except OSError:
        break
    if steps and steps[0][0].encode() in shown:
        os.write(terminal, steps.pop(0)[1].encode().decode("unicode_escape").encode())
sys.stdout.buffer.write(shown)
status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
if status < 0:
    print(f"ended by signal {-status}")
sys.exit(status if status >= 0 else 128 - status)
