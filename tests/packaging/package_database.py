"""Reads the tables of an installer."""

import subprocess


def table(package, name):
    """Returns the rows of a table as dictionaries."""
    exported = subprocess.run(["msiinfo", "export", package, name], capture_output=True, text=True, check=True).stdout
    columns, _, _, *rows = [line.split("\t") for line in exported.splitlines()]
    return [dict(zip(columns, row, strict=True)) for row in rows]
