"""What an installation on Linux consists of."""

UNIT = "lib/systemd/system/postwarden-service.service"

# Below the prefix, without the documents in DOCUMENTS.
COMMON = {
    "bin/postwarden",
    "bin/postwarden-service",
    UNIT,
    "share/bash-completion/completions/postwarden",
    "share/bash-completion/completions/postwarden-service",
    "share/doc/postwarden/README.md",
    "share/doc/postwarden/changelog.gz",
    "share/doc/postwarden/copyright",
    "share/man/man1/postwarden.1.gz",
    "share/man/man8/postwarden-service.8.gz",
    "share/zsh/vendor-completions/_postwarden",
    "share/zsh/vendor-completions/_postwarden-service",
}
DEBIAN_ONLY = {"share/doc/postwarden/changelog.Debian.gz", "share/lintian/overrides/postwarden"}
DOCUMENTS = "share/doc/postwarden/docs/"
CONFIGURATION = "postwarden/service.conf"  # below the folder of configuration


def below(folder):
    """Returns the files below a folder, without the documents."""
    files = {str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir()}
    return {name for name in files if DOCUMENTS not in name}


def prefixed(prefix, names):
    return {prefix + name for name in names}
