"""The manual pages and the bash completion keep up with the programs: every subcommand that
`anadata --help` lists has a section in anadata.1 and a line in the completion naming each option
that `anadata help SUBCOMMAND` lists, and anadata-server.8 names every option of the server.

    manual_test.py ANADATA REPO [ANADATA-SERVER]
"""

import re
import subprocess
import sys


def help_text(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def options(text):
    """The option names of a --help text: the first column of the lines under "Options:"."""
    section = text.split("\nOptions:\n", 1)[1].split("\n\n", 1)[0]
    names = []
    for line in section.splitlines():
        first = line.split()[0] if line.startswith("  -") else ""
        names += [name for name in first.split(",") if name.startswith("-") and name not in ("-h", "--help")]
    return names


def names(option, text):
    """Whether text names the option itself, not just a longer one (--shot in --shots)."""
    return re.search(rf"(?<![\w-]){re.escape(option)}(?![\w-])", text) is not None


def page_text(path):
    with open(path, encoding="utf-8") as f:
        return f.read().replace("\\-", "-")  # roff's minus signs


def main():
    tool, repo = sys.argv[1], sys.argv[2]
    server = sys.argv[3] if len(sys.argv) > 3 else ""
    page = page_text(f"{repo}/tools/anadata.1")
    with open(f"{repo}/tools/anadata.bash-completion", encoding="utf-8") as f:
        completion = f.read()
    faults = []

    usage = help_text(tool, "--help")
    subcommands = [line.split()[0] for line in usage.split("\nSubcommands:\n", 1)[1].splitlines() if line.strip()]
    if not subcommands:
        faults.append("anadata --help lists no subcommands")
    offered = re.search(r'subcommands="([^"]*)"', completion)
    offered = offered.group(1).split() if offered else []
    for sub in subcommands:
        section = re.search(rf"^\.SS {re.escape(sub)}\n(.*?)(?=^\.S[SH] )", page, re.M | re.S)
        if not section:
            faults.append(f"anadata.1 has no section .SS {sub}")
        if sub not in offered:
            faults.append(f"the completion does not offer {sub}")
        if sub == "help":
            continue
        line = re.search(rf'^ +{re.escape(sub)}\) opts="([^"]*)"', completion, re.M)
        if not line:
            faults.append(f"the completion has no options line for {sub}")
        for option in options(help_text(tool, "help", sub)):
            if section and not names(option, section.group(1)):
                faults.append(f"anadata.1, section {sub}, does not name {option}")
            if line and option not in line.group(1).split():
                faults.append(f"the completion of {sub} does not offer {option}")
    for option in options(usage):
        if not names(option, page):
            faults.append(f"anadata.1 does not name {option}")
        if not names(option, completion):
            faults.append(f"the completion does not offer {option}")

    if server:
        server_page = page_text(f"{repo}/server/anadata-server.8")
        faults += [f"anadata-server.8 does not name {option}"
                   for option in options(help_text(server, "--help")) if not names(option, server_page)]

    for fault in faults:
        print(f"manual: {fault}", file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
