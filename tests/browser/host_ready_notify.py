#!/usr/bin/env python3
"""The host tells a service manager it is ready (READY=1 on $NOTIFY_SOCKET) only once every
widget of its first round is drawn, and exits 0 on SIGTERM.
  host_ready_notify.py PLUVO_WIDGET WORK_DIR"""
import os, shutil, signal, socket, subprocess, sys

cli, work = sys.argv[1:3]
shutil.rmtree(work, ignore_errors=True)
os.makedirs(work)
address = os.path.join(work, "notify")
listener = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
listener.bind(address)
listener.settimeout(60)
out = os.path.join(work, "out")
env = dict(os.environ, NOTIFY_SOCKET=address, PLUVO_API_BASE_URL="http://127.0.0.1:9")
host = subprocess.Popen([cli, "--container", os.path.join(work, "box"), "--caches",
                         os.path.join(work, "caches"), "--time-zone", "America/Chicago",
                         "host", "--out", out], env=env, stdout=subprocess.DEVNULL)
failures = []
try:
    message = listener.recv(4096).decode()
    drawn = sorted(f for f in os.listdir(out) if f.endswith(".png"))
    if "READY=1" not in message:
        failures.append(f"the message was {message!r}")
    if len(drawn) != 5:
        failures.append(f"ready with {len(drawn)} of 5 widgets drawn: {drawn}")
except socket.timeout:
    failures.append("no READY=1 within 60 s")
finally:
    host.send_signal(signal.SIGTERM)
    status = host.wait(30)
if status != 0:
    failures.append(f"the host exited {status} on SIGTERM")
for failure in failures:
    print("FAIL:", failure)
print(f"{int(not failures)} passed, {int(bool(failures))} failed")
sys.exit(1 if failures else 0)
