import unittest

from typetable import conforms, extension, type_for_directory, type_for_file


class TypeTableTest(unittest.TestCase):
    def test_files_directories_and_packages_get_the_hosts_types(self):
        files = {
            "photo.JPG": "public.jpeg",
            "notes.txt": "public.plain-text",
            "x.brindle": "org.brindle.document",
            "notes.xyz": "dyn.xyz.conforms-to.public.data",
            "Weird.ABC": "dyn.abc.conforms-to.public.data",
            "README": "dyn.(none).conforms-to.public.data",
            ".profile": "dyn.(none).conforms-to.public.data",
            "notes.": "dyn.(none).conforms-to.public.data",  # the empty extension is none
            "a.rtfd": "dyn.rtfd.conforms-to.public.data",  # a package type: never a file's
        }
        for name, expected in files.items():
            self.assertEqual(type_for_file(name), expected, name)
            self.assertTrue(conforms(expected, "public.data"), name)
        self.assertEqual(type_for_directory("Letter.rtfd"), ("public.rtfd", True))
        self.assertEqual(type_for_directory("x.Brindle"), ("org.brindle.package", True))
        self.assertEqual(type_for_directory("photos.jpeg"), ("public.folder", False))
        self.assertEqual(type_for_directory(".hidden"), ("public.folder", False))
        self.assertEqual(extension("archive.tar.gz"), "gz")

    def test_conformance_is_transitive_and_one_way(self):
        self.assertTrue(conforms("public.c-source", "public.text"))
        self.assertTrue(conforms("public.rtfd", "public.package"))
        self.assertFalse(conforms("public.rtfd", "public.data"))
        self.assertFalse(conforms("public.data", "public.plain-text"))


if __name__ == "__main__":
    unittest.main()
