"""terminal.py [WORD ANSWER]... -- COMMAND...: runs a command on a terminal of its own and prints what it shows
there. When a WORD appears its ANSWER is typed (escapes as in Python). Ends with the command's exit status, or
with 128 and the number of the signal that ended it, which the last line names."""
import signal
import sys

import pexpect

split = sys.argv.index("--")
# SIGINT is ignored where the tests run in the background.
child = pexpect.spawn(sys.argv[split + 1], sys.argv[split + 2:], timeout=60,
                      preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
child.logfile_read = sys.stdout.buffer
for word, answer in zip(sys.argv[1:split:2], sys.argv[2:split:2]):
    child.expect_exact(word)
    child.send(answer.encode().decode("unicode_escape"))
child.expect(pexpect.EOF)
child.close()
if child.signalstatus is not None:
    print(f"ended by signal {child.signalstatus}")
    sys.exit(128 + child.signalstatus)
sys.exit(child.exitstatus)
