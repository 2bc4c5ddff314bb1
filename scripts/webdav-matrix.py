"""Writes docs/webdav-servers.md from the joined report of scripts/webdav-matrix.

    python3 scripts/webdav-matrix.py MERGED.json SERVER=URL...

Every verdict comes from the report; the reasons are the runner's own words (each failed or
inconclusive expectation and its comment); the lessons below are matched to the cases whose
verdicts differ between servers.
"""
import json
import re
import sys

LESSONS = [
    (r"^VLAttributeValidation\.(Tags|FavoriteRank|LastUsedDate)/",
     "Tags, favourite ranks and last-used dates have no home on a server without dead properties: "
     "nginx answers PROPPATCH with 405, and rclone answers it with 207 and 403 for each property of a file (500 for a collection). The bridge "
     "probes once at start, answers each such action with \"not supported\" (-1006) and tells the host "
     "it has no working set, so the verdict names the real cause instead of a time-out on a value that "
     "never arrives. A bridge that must offer these attributes there needs a store of its own for them "
     "(a database beside the cache, say); pretending to keep them would pass the action and fail later."),
    (r"^VLTrashValidation\.TrashUntrash/",
     "The trash case also gives its items a favourite rank and a last-used date, to see them leave and "
     "rejoin the working set, so it fails wherever those attributes cannot be kept. The trash itself "
     "(a hidden collection on the server, with the original place remembered by the bridge) works on all "
     "three servers: the failures are the attribute actions, reported as not supported."),
]

STATIC_NOTES = """## What each server does differently, and what the bridge does about it

- **Conditional writes.** All three refuse `MOVE` with `Overwrite: F` onto a name that is
  taken (412). Only Apache also refuses `PUT` with `If-None-Match: *` over an existing file
  (412); nginx (204) and rclone (201) overwrite the file. The collision cases still pass on all
  three only because the bridge looks first: it lists the destination folder afresh and compares
  names regardless of case before it writes. Lesson: a precondition header is a second line of
  defence, never the only one.
- **Names and case.** All three servers compare names exactly, as the file system below them does,
  so `Report.txt` and `report.TXT` may sit side by side there. The host expects them to collide, so
  the bridge folds case itself; a rename that changes only the case is the item's own name and is
  let through.
- **Dead properties.** Only Apache keeps them (`PROPPATCH` answers 207 with 200 for each property);
  see the lessons above for the cases this decides.
- **Versions.** Apache calls a file's ETag weak (`W/"…"`) while the file is under a second old
  and strong afterwards, with the same tag. A bridge that compares ETags whole takes that for an
  edit by someone else and drops its local copy; the runner caught this bridge doing so (a
  renamed file reported not downloaded, 2 times in 300 repeats, only under load). Compare the
  tag without the weakness mark. rclone's ETags are strong from the start; nginx lists no
  `getetag` at all, so there the bridge falls back to size and modification date.
- **Identity.** None of the three offers a stable resource identifier the bridge could rely on, so
  identifiers are the bridge's own and follow its own renames, moves and trash. A rename made by
  another client looks like a deletion and a creation, which is what the host then sees.
"""


def clean(text):
    # Ports and temporary folders differ on every run; the words do not.
    text = re.sub(r"http://127\.0\.0\.1:\d+/", "http://127.0.0.1:PORT/", text or "")
    text = re.sub(r"VaultlineValidations-\d+", "VaultlineValidations-N", text)
    text = re.sub(r"item-\d+", "item-N", text)
    text = re.sub(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \+0000( \(\d+\))?", "DATE", text)
    text = re.sub(r"\b(Validation(Folder)?)-[A-Za-z]+", r"\1-NAME", text)
    return " ".join(text.split()).replace("|", "\\|")


def reasons(case):
    found = []
    for attempt in case.get("attempts", []):
        for expectation in attempt.get("expectations", []):
            if expectation.get("result") == "passed":
                continue
            words = clean(expectation.get("description"))
            comment = clean(expectation.get("comment"))
            marker = "these keys differed from expectation:"
            if marker in comment:
                comment = "the closest item differed: " + comment.split(marker, 1)[1].strip()
            if comment:
                words += " — " + comment
            if words not in found:
                found.append(words)
    return found


def main():
    merged = json.load(open(sys.argv[1]))
    servers = []
    for pair in sys.argv[2:]:
        name, url = pair.split("=", 1)
        servers.append((name, url))
    verdicts = {}  # case id -> server -> case
    order = []
    for case in merged["cases"]:
        server = next((name for name, url in servers if case.get("provider", "").endswith(" " + url)), None)
        if server is None:
            continue
        if case["id"] not in verdicts:
            verdicts[case["id"]] = {}
            order.append(case["id"])
        verdicts[case["id"]][server] = case
    order.sort()
    names = [name for name, _ in servers]
    out = []
    out.append("# The WebDAV bridge against real servers\n")
    out.append("`vlprovider-webdav` validated strict (`vlvalidate run --strict -j 8`) against each server that "
               "`scripts/webdav-server` starts, the runs joined by `vlvalidate merge`. Generated by "
               "`scripts/webdav-matrix`; do not edit by hand. The joined HTML report is "
               "[webdav-servers.html](webdav-servers.html).\n")
    summary = merged.get("summary", {})
    out.append("Joined: %s passed, %s failed, %s inconclusive of %s runs.\n" % (
        summary.get("passed"), summary.get("failed"), summary.get("inconclusive"), summary.get("plannedRuns")))
    out.append("## The matrix\n")
    out.append("| case | " + " | ".join(names) + " |")
    out.append("|---|" + "---|" * len(names))
    for case_id in order:
        cells = [verdicts[case_id].get(name, {}).get("verdict", "not run") for name in names]
        out.append("| `%s` | %s |" % (case_id, " | ".join(cells)))
    out.append("")
    out.append("## Every verdict that is not a pass, in the runner's words\n")
    any_shown = False
    for case_id in order:
        groups = {}  # the same verdict for the same reasons: one entry naming every server
        for name in names:
            case = verdicts[case_id].get(name)
            if not case or case["verdict"] == "passed":
                continue
            key = (case["verdict"], tuple(reasons(case)))
            groups.setdefault(key, []).append(name)
        for (verdict, words), where in groups.items():
            any_shown = True
            out.append("- **%s** on %s: %s" % (case_id, ", ".join("**%s**" % name for name in where), verdict))
            for line in words:
                out.append("  - %s" % line)
    if not any_shown:
        out.append("Every case passed on every server.")
    out.append("")
    out.append("## What a provider author should learn from each difference\n")
    differing = [case_id for case_id in order
                 if len({verdicts[case_id].get(name, {}).get("verdict") for name in names}) > 1]
    for pattern, lesson in LESSONS:
        hit = [case_id for case_id in differing if re.search(pattern, case_id)]
        if hit:
            out.append("- %s (%s)\n" % (lesson, ", ".join("`%s`" % case_id for case_id in hit)))
    unexplained = [case_id for case_id in differing if not any(re.search(p, case_id) for p, _ in LESSONS)]
    for case_id in unexplained:
        out.append("- `%s` differs between servers and has no lesson written yet: read its reasons above.\n" % case_id)
    if not differing:
        out.append("No case's verdict differs between the servers.\n")
    out.append(STATIC_NOTES)
    print("\n".join(out))


main()
