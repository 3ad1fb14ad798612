#!/usr/bin/env python3
"""zelkor-conform: holds a cloud against what the engine relies on, and prints a table of what passed and what did not.

It works in a folder of its own below the user's root, deletes it at the end and signs out. What a cloud keeps of deleted
files, and of uploads that were left open, goes by its own rules. Exit status: 0 all passed, 1 something failed, 2 the run
could not begin or was broken off."""
import argparse
import json
import sys
import traceback
import urllib.parse

sys.dont_write_bytecode = True

import checks_account  # noqa: F401  (each of these brings its checks in)
import checks_plans  # noqa: F401
import checks_objects  # noqa: F401
import checks_proxy  # noqa: F401
import checks_files  # noqa: F401
from client import sign_in
from kit import CHECKS, Kit, PassedOver, Wrong
from protocol import Protocol
from sections import section_of


def arguments():
    parser = argparse.ArgumentParser(prog="zelkor-conform", description="Hold a cloud against what the engine relies on.")
    parser.add_argument("--url", required=True, help="http://HOST:PORT or https://HOST:PORT")
    parser.add_argument("--user", required=True, help="a user whose space may be written to")
    parser.add_argument("--password-file", required=True, help="file whose first line is the password")
    parser.add_argument("--other-user", help="a second user, to see that users are kept apart")
    parser.add_argument("--other-password-file", help="(default: the same file)")
    parser.add_argument("--server-name", help="the ending of file names that the cloud sends by its file proxy, \"*.log\"")
    parser.add_argument("--ca-file", help="certificates to trust")
    parser.add_argument("--seconds", type=float, default=10, help="what a control call may take (default: 10)")
    parser.add_argument("--only", action="append", default=[], help="a check, or an area such as \"plan\"; may come again")
    parser.add_argument("--list", action="store_true", help="name the checks and what they hold, and end")
    parser.add_argument("--json", action="store_true", help="one JSON document instead of the table")
    if "--list" in sys.argv[1:]:
        for name, text, _ in CHECKS:
            print(f"{name:24} {text}")
        sys.exit(0)
    return parser.parse_args()


def first_line(path):
    with open(path, encoding="utf-8") as file:
        return file.readline().rstrip("\r\n")


def make_kit(options):
    settings = {"ca_file": options.ca_file, "seconds": max(30.0, 3 * options.seconds)}
    password = first_line(options.password_file)
    client, login = sign_in(options.url, options.user, password, **settings)
    other = None
    if options.other_user:
        other = sign_in(options.url, options.other_user,
                        first_line(options.other_password_file or options.password_file), **settings)
    kit = Kit(client, login, Protocol(), options.server_name, other, options.seconds)
    kit.user, kit.password, kit.options = options.user, password, settings
    return kit


def exchange(answer):
    return {"asked": answer.asked, "came": str(answer)} if answer else {}


def run(kit, name, function):
    """What the row of a check tells: its verdict, the reason, and of a failure what was said and where it stands."""
    kit.last, kit.unanswered = None, False
    try:
        function(kit)
        return {"verdict": "passed", "reason": ""}
    except PassedOver as reason:
        return {"verdict": "passed over", "reason": str(reason)}
    except Wrong as reason:
        told, said = str(reason), exchange(reason.answer or kit.last)
    except OSError as error:
        kit.unanswered = True
        told = f"no whole answer came: {type(error).__name__} {error}"
        said = {"asked": getattr(error, "asked", ""), "came": "nothing"}
    except Exception as error:  # an answer that cannot be read is a failure of the cloud, not of the run
        place = traceback.extract_tb(error.__traceback__)[-1]
        lacks = f"an answer lacks {error}" if isinstance(error, KeyError) else f"{type(error).__name__}: {error}"
        told, said = f"{lacks} ({place.name}: {place.line})", exchange(kit.last)
    return {"verdict": "failed", "reason": told, **said, "section": section_of(name)}


def show(row):
    print(f"{row['verdict']:12} {row['check']:24} {row['reason'] or row['text']}", flush=True)
    for key, word in (("asked", "asked:"), ("came", "came:"), ("section", "see:")):
        if row.get(key):
            place = f"docs/cloud-protocol.md, \"{row[key]}\"" if key == "section" else row[key]
            print(f"{'':12} {word:6} {place}")


def is_gone(kit):
    """Whether nobody answers any more: then each further check would only wait for its time to be over."""
    try:
        kit.client.get("/health", token="")
        return False
    except OSError:
        return True


def try_all(kit, wanted, options):
    """One row a check."""
    rows, gone = [], False
    for name, text, function in wanted:
        told = {"verdict": "failed", "reason": "not tried, since the cloud does not answer any more"}
        rows.append({"check": name, "text": text, **(told if gone else run(kit, name, function))})
        if not options.json:
            show(rows[-1])
        gone = gone or kit.unanswered and is_gone(kit)
    return rows


def attempt(failure, ask):
    """A step of the clearing away; what was left behind is told."""
    try:
        answer = ask()
        if answer is None or answer.status == 200:
            return
        reason = answer
    except OSError as error:
        reason = error
    print(f"zelkor-conform: {failure}: {reason}", file=sys.stderr)


def delete_folder(kit):
    folder = kit._folder
    if not folder:
        query = urllib.parse.urlencode({"parentFolder": kit.root, "fileName": kit.folder_name})
        found = kit.client.get("/v1/files/find?" + query)
        if found.status == 404:
            return None  # it never came into being
        if found.status != 200:
            return found
        folder = found.json["id"]
    return kit.client.send("DELETE", f"/v1/files/{folder}")


def clear(kit):
    if kit._folder is not None:
        attempt(f"the folder \"{kit.folder_name}\" of this run was not deleted; delete it", lambda: delete_folder(kit))
    for client in [kit.client] + ([kit.foreign[0]] if kit.foreign else []):
        attempt("a sign-in of this run was not ended", lambda: client.post("/v1/account/logout"))


def main():
    options = arguments()
    try:
        kit = make_kit(options)
    except (OSError, ValueError) as error:
        print(f"zelkor-conform: the run could not begin: {error}", file=sys.stderr)
        return 2
    wanted = [one for one in CHECKS if not options.only or any(
        one[0] == name or one[0].startswith(name + ".") for name in options.only)]
    try:
        rows = try_all(kit, wanted, options)
    except KeyboardInterrupt:
        print("zelkor-conform: broken off", file=sys.stderr)
        return 2
    finally:
        clear(kit)
    count = {verdict: sum(row["verdict"] == verdict for row in rows) for verdict in ("passed", "failed", "passed over")}
    if options.json:
        print(json.dumps({"checks": rows, **{key.replace(" ", ""): value for key, value in count.items()}}, indent=1))
    else:
        print(f"{count['passed']} passed, {count['failed']} failed, {count['passed over']} passed over")
    return 1 if count["failed"] or not count["passed"] else 0


if __name__ == "__main__":
    sys.exit(main())
