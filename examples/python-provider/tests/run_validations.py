"""Runs vlvalidate against the Python provider in a fresh directory and checks its JSON report.

    python3 run_validations.py VLVALIDATE [--non-syncing] [VLVALIDATE OPTIONS…]

Every case must pass; with --non-syncing, the cases that only a syncing provider can pass
must instead be inconclusive with the words that say so. Exits 0 when the report agrees.
"""

import json
import os
import shlex
import subprocess
import sys
import tempfile

PROVIDER = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "vlprovider.py")
SYNCING_ONLY = ("VLAttributeValidation.DownloadEvict", "VLPlaceholderValidation.PlaceholderIsWritten")
NOT_APPLICABLE = "Not applicable to non-syncing providers"


def problems(report, non_syncing):
    """What in the report disagrees with a conformant provider, one line each."""
    found = []
    for case in report["cases"]:
        words = {text for e in case["attempts"][-1]["expectations"]
                 if e["result"] != "passed" for text in (e["description"], e["comment"])}
        if non_syncing and case["id"] in SYNCING_ONLY:
            if case["verdict"] != "inconclusive" or NOT_APPLICABLE not in words:
                found.append("%s: %s, expected inconclusive with %r" % (case["id"], case["verdict"], NOT_APPLICABLE))
        elif case["verdict"] != "passed":
            found.append("%s: %s: %s" % (case["id"], case["verdict"], "; ".join(sorted(w for w in words if w))))
    if not report["cases"]:
        found.append("no case ran")
    return found


def main(arguments):
    vlvalidate, options = arguments[0], arguments[1:]
    non_syncing = "--non-syncing" in options
    if non_syncing:
        options.remove("--non-syncing")
    with tempfile.TemporaryDirectory(prefix="vlprovider-py-") as directory:
        command = ["python3", PROVIDER, os.path.join(directory, "drive")] + (["--non-syncing"] * non_syncing)
        report_path = os.path.join(directory, "report.json")
        run = subprocess.run([vlvalidate, "--strict", "--no-progress", "--provider",
                              "exec:" + shlex.join(command), "--json", report_path] + options)
        if not os.path.exists(report_path):
            print("vlvalidate exited %d without a report" % run.returncode)
            return 1
        with open(report_path, encoding="utf-8") as report:
            found = problems(json.load(report), non_syncing)
    for line in found:
        print("MISMATCH " + line)
    return 1 if found or run.returncode != 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
