#!/usr/bin/env python3
"""The REPL through a pseudo-terminal, as a person uses it: Ctrl-C at the
prompt and during long computations keeps the session, Ctrl-D on a
continuation line says what it discarded, Tab completes entry names, and
matrices show as rows. Usage: repl_test.py PATH_TO_QUARN

Waits are for output to appear (a hang guard of 120 s each), never a
timing check. Prints 'N passed, M failed'."""
import os
import pty
import re
import select
import sys
import time

quarn = sys.argv[1]
pid, fd = pty.fork()
if pid == 0:
    os.environ["HOME"] = "/nonexistent"  # no history file
    os.execv(quarn, [quarn])

out = b""


def wait_for(pattern, guard=120.0):
    """Reads until pattern (a regex on everything read since the last call)
    appears; returns the text read."""
    global out
    deadline = time.monotonic() + guard
    while not re.search(pattern, out.decode(errors="replace")):
        left = deadline - time.monotonic()
        if left <= 0:
            raise TimeoutError(f"no {pattern!r} in {out.decode(errors='replace')!r}")
        if select.select([fd], [], [], left)[0]:
            try:
                out += os.read(fd, 4096)
            except OSError:
                break
    text, out = out.decode(errors="replace"), b""
    return text


def send(text):
    os.write(fd, text.encode())


passed = failed = 0


def check(name, ok, detail=""):
    global passed, failed
    if ok:
        passed += 1
        print(f"ok   {name}")
    else:
        failed += 1
        print(f"FAIL {name}: {detail}")


PROMPT = r"\n> $"
wait_for(PROMPT)

# Ctrl-C at the prompt drops the line being typed; the session goes on.
send("1 + ")
wait_for(r"1 \+ $")  # read and echoed: the Ctrl-C comes while the line is edited
send("\x03")
wait_for(PROMPT)
send("6 * 7;\n")
text = wait_for(PROMPT)
check("ctrl-c at the prompt", "42" in text, text)

# Ctrl-C during long computations: a sample of 10^7 variates and a deviate
# at 100000 digits. Each is stopped, and the session keeps its state.
for name, statement in [("sample", "randomize(1): s := QuarnNormalRandomSample(10^7, 0, 1):"),
                        ("deviate", "Digits := 100000: d := QuarnNormalDeviate(0.3, 0, 1):")]:
    send("keep := 5: " + statement + "\n")
    wait_for(re.escape(statement) + r"\r?\n")  # the line has been read
    # Let it start, and interrupt it well before it could end: the sample
    # alone takes about 2 s on a quiet machine, the deviate far longer.
    time.sleep(0.3)
    send("\x03")
    text = wait_for(PROMPT)
    send("Digits := 10: keep, assigned(s), assigned(d);\n")
    after = wait_for(PROMPT)
    check(f"ctrl-c during a {name}", "Error, interrupted" in text and "5, false, false" in after, text + after)

# Ctrl-D on a continuation line discards the unfinished statement.
send("for i to 3 do\n")
wait_for(r"\n  $")
send("\x04")
text = wait_for(PROMPT)
check("ctrl-d discards", "discarded the unfinished statement: for i to 3 do" in text, text)

# Tab completes a unique entry name with its parenthesis.
send("QuarnGammaDevi\t0.5, 2, 3);\n")
text = wait_for(PROMPT)
check("tab completion", "Error" not in text and "5.348120627" in text, text)

# Matrices show as rows, columns aligned.
send("Matrix([[1, 2.5], [30, 4]]);\n")
text = wait_for(PROMPT)
check("matrix in rows", "[ 1  2.5]\r\n[30    4]" in text, repr(text))

send("quit\n")
os.close(fd)
os.waitpid(pid, 0)
print(f"{passed} passed, {failed} failed")
sys.exit(1 if failed else 0)
