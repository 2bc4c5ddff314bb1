"""The provider's own table of file extensions to type identifiers.

The host checks an imported file's type against its own table, so this one lists the same
types and extensions; a name whose extension no data type lists gets a dynamic type.
"""

FOLDER = "public.folder"
DATA = "public.data"
PACKAGE = "public.package"

# (type, the types it conforms to, its extensions), in lookup order: the first type that
# lists an extension and conforms to what is asked for wins.
TYPES = [
    ("public.item", (), ()),
    ("public.content", ("public.item",), ()),
    ("public.composite-content", ("public.content",), ()),
    ("public.data", ("public.item",), ()),
    ("public.directory", ("public.item",), ()),
    ("public.folder", ("public.directory",), ()),
    ("public.package", ("public.directory",), ()),
    ("public.text", ("public.data", "public.content"), ()),
    ("public.plain-text", ("public.text",), ("txt", "text")),
    ("public.log", ("public.plain-text",), ("log",)),
    ("public.source-code", ("public.plain-text",), ()),
    ("public.c-source", ("public.source-code",), ("c",)),
    ("public.c-header", ("public.source-code",), ("h",)),
    ("public.c-plus-plus-source", ("public.source-code",), ("cpp", "cc", "cxx")),
    ("public.shell-script", ("public.source-code",), ("sh",)),
    ("public.html", ("public.text",), ("html", "htm")),
    ("public.xml", ("public.text",), ("xml",)),
    ("public.json", ("public.text",), ("json",)),
    ("public.comma-separated-values-text", ("public.text",), ("csv",)),
    ("public.rtf", ("public.text",), ("rtf",)),
    ("public.rtfd", ("public.package", "public.composite-content"), ("rtfd",)),
    ("public.pdf", ("public.data", "public.composite-content"), ("pdf",)),
    ("public.image", ("public.data", "public.content"), ()),
    ("public.jpeg", ("public.image",), ("jpeg", "jpg", "jpe")),
    ("public.png", ("public.image",), ("png",)),
    ("public.gif", ("public.image",), ("gif",)),
    ("public.tiff", ("public.image",), ("tiff", "tif")),
    ("public.audio", ("public.data", "public.content"), ()),
    ("public.mp3", ("public.audio",), ("mp3",)),
    ("public.movie", ("public.data", "public.content"), ()),
    ("public.mpeg-4", ("public.movie",), ("mp4",)),
    ("public.archive", ("public.data",), ()),
    ("public.zip-archive", ("public.archive",), ("zip",)),
    # One extension, two types: a file is the document, a directory the package.
    ("org.brindle.document", ("public.data", "public.content"), ("brindle",)),
    ("org.brindle.package", ("public.package", "public.composite-content"), ("brindle",)),
]

_PARENTS = {name: parents for name, parents, _ in TYPES}


def conforms(type_identifier, to):
    """Whether type_identifier is `to` or conforms to it through the table, transitively."""
    if type_identifier == to:
        return True
    if type_identifier.startswith("dyn.") and type_identifier.endswith(".conforms-to." + to):
        return True
    return any(conforms(parent, to) for parent in _PARENTS.get(type_identifier, ()))


def extension(name):
    """What follows the last dot of name, or "" (a leading dot starts no extension)."""
    dot = name.rfind(".")
    return name[dot + 1:] if dot > 0 else ""


def _listed_type(ext, constraint):
    lowered = ext.lower()
    for name, _, extensions in TYPES:
        if lowered in extensions and conforms(name, constraint):
            return name
    return None


def type_for_file(name):
    """The type of a regular file called name."""
    ext = extension(name)
    found = _listed_type(ext, DATA) if ext else None
    return found or "dyn.%s.conforms-to.public.data" % (ext.lower() if ext else "(none)")


def type_for_directory(name):
    """(type, is_package) of an imported directory called name."""
    ext = extension(name)
    package = _listed_type(ext, PACKAGE) if ext else None
    return (package, True) if package else (FOLDER, False)
