"""The installed package, used as strangers use it: moved somewhere else, found by CMake and pkg-config, packed for Debian.

usage: test_package.py --build DIRECTORY [unittest option]...     DIRECTORY: a complete build, without the tests
"""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
CONSUMER = SOURCE / "tests/package/consumer"
BUNDLE_DIRECTORIES = {
    "serialisationproviders", "externalprocessdiscovery", "providers", "framework", "servicepublishers", "clients",
    "serviceproviders",
}
PATIENCE = 300  # seconds that any one command may take

build = None  # the build tree that is installed
scratch = None  # the directory in which everything happens


def setUpModule():
    global scratch
    scratch = pathlib.Path(tempfile.mkdtemp(prefix="spf-package-"))


def tearDownModule():
    shutil.rmtree(scratch)


def cache(name):
    """The value of a variable in the build's cache, or an empty string."""
    found = re.search(rf"^{name}(?::\w+)?=(.*)$", (build / "CMakeCache.txt").read_text(), re.MULTILINE)
    return found.group(1) if found else ""


def provider():
    return cache("SPF_MICROSERVICES")


def run(*command, expect_failure=False, **options):
    """Runs a command to its end and returns its output; fails with that output when it ends otherwise than expected."""
    done = subprocess.run(
        [str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
        timeout=PATIENCE, check=False, **options)
    if (done.returncode != 0) != expect_failure:
        words = " ".join(str(word) for word in command)
        raise AssertionError(f"{words}\nended with status {done.returncode}:\n{done.stdout}")
    return done.stdout


def files_below(directory):
    return {str(path.relative_to(directory)) for path in directory.rglob("*") if not path.is_dir()}


def elf_files(directory):
    for name in sorted(files_below(directory)):
        path = directory / name
        if not path.is_symlink() and path.read_bytes()[:4] == b"\x7fELF":
            yield path


def dynamic_section(path, tag):
    """The values of a tag of an ELF file's dynamic section."""
    text = run("readelf", "-d", path, env={**os.environ, "LC_ALL": "C"})
    return re.findall(rf"\({tag}\).*\[(.*)\]", text)


def configure(source, directory, *arguments, **options):
    launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
    return run("cmake", "-G", "Ninja", "-S", source, "-B", directory, "-DCMAKE_BUILD_TYPE=Release", *launcher,
               *arguments, **options)


def prefix_path(*prefixes):
    """Where find_package() looks: the given installations, and the provider's if it is an installed one."""
    return "-DCMAKE_PREFIX_PATH=" + ";".join([*(str(prefix) for prefix in prefixes), cache("CMAKE_PREFIX_PATH")])


class InstalledTest(unittest.TestCase):
    """Tests of an installation that has been moved after it was made, so that nothing may depend on where it lay."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.scratch = pathlib.Path(tempfile.mkdtemp(prefix="case-", dir=scratch))
        cls.first_root = cls.scratch / "installed"
        cls.root = cls.scratch / "moved"
        run("cmake", "--install", build, "--prefix", cls.first_root)
        cls.first_root.rename(cls.root)
        cls.examples = cls.root / "share/spf-frameworksetup/examples"

    def run_consumer(self, program):
        """Runs a program that publishes a configuration to its end."""
        with tempfile.TemporaryDirectory(prefix="run-", dir=scratch) as directory:
            output = run(program, "unix:consumer.sock", cwd=directory)
            self.assertEqual(output, "bound: unix:consumer.sock\nservices published\nservices unpublished\n")
            self.assertEqual(os.listdir(directory), [])


class Layout(InstalledTest):
    def own_elf_files(self):
        """Without the Configuration Admin of an installed provider, which is as it came."""
        for path in elf_files(self.root):
            if provider() == "standalone" or path.name != "ConfigurationAdmin.so":
                yield path

    def test_every_public_header_is_installed(self):
        for root in ("include", "host", "standalone/host/include", "standalone/bundles/interface"):
            for header in files_below(SOURCE / root):
                if header.endswith(".hpp"):
                    self.assertTrue((self.root / "include" / header).is_file(), header)

    def test_the_standalone_provider_keeps_its_headers_in_a_folder_of_their_own(self):
        self.assertFalse((self.root / "include/cppmicroservices").exists())
        own = self.root / "include/spf-frameworksetup/standalone-microservices"
        self.assertEqual(own.exists(), provider() == "standalone")
        if provider() == "standalone":
            self.assertEqual(files_below(own), files_below(SOURCE / "standalone/cppmicroservices/include"))

    def test_each_bundle_directory_holds_a_bundle(self):
        root = self.root / "bin/darwinarm64"
        self.assertEqual(set(os.listdir(root / "spf")), BUNDLE_DIRECTORIES)
        for directory in [root / "microservices", *(root / "spf" / name for name in BUNDLE_DIRECTORIES)]:
            self.assertTrue(list(directory.glob("*.so")), directory)

    def test_licence_and_documentation_are_installed(self):
        for name in ("doc/spf-frameworksetup/LICENSE", "doc/spf-frameworksetup/README.md",
                     "doc/spf-frameworksetup/docs/errors.md", "man/man1/spf-agent.1"):
            self.assertTrue((self.root / "share" / name).is_file(), name)

    def test_no_file_names_the_place_where_it_was_installed_built_or_written(self):
        for name in sorted(files_below(self.root)):
            content = (self.root / name).read_bytes()
            for place in (self.first_root, build, SOURCE):
                self.assertNotIn(bytes(place), content, f"{name} names {place}")

    def test_programs_libraries_and_bundles_find_their_libraries_from_where_they_are(self):
        foreign = {str(pathlib.Path(prefix) / "lib") for prefix in cache("CMAKE_PREFIX_PATH").split(";") if prefix}
        for path in self.own_elf_files():  # who loads another's has loaded what it needs
            with self.subTest(path.name):
                self.assertNotIn("not found", run("ldd", path))
                for runpath in dynamic_section(path, "RUNPATH"):
                    entries = [entry for entry in runpath.split(":") if entry not in foreign]
                    self.assertTrue(all(entry.startswith("$ORIGIN") for entry in entries), runpath)

    def test_nothing_wants_an_executable_stack(self):
        for path in self.own_elf_files():
            self.assertRegex(run("readelf", "-lW", path), r"GNU_STACK .* RW +0x", path.name)

    def test_the_library_is_linked_to_no_host(self):
        needed = dynamic_section(self.root / "lib/libagent_spf_frameworksetup.so", "NEEDED")
        self.assertFalse([name for name in needed if "host" in name])

    def test_the_name_that_programs_record_carries_the_major_version(self):
        self.assertEqual(dynamic_section(self.root / "lib/libagent_spf_frameworksetup.so", "SONAME"),
                         ["libagent_spf_frameworksetup.so.0"])


class Agent(InstalledTest):
    def agent(self, *arguments, root=None):
        with tempfile.TemporaryDirectory(prefix="run-", dir=scratch) as directory:
            return run((root or self.root) / "bin/spf-agent", *arguments, cwd=directory)

    def test_validates_the_examples(self):
        for example in sorted(self.examples.glob("*.json")):
            self.agent("validate", example)

    def publish(self, root):
        configuration = self.scratch / "agent.json"
        configuration.write_text("""{
            "configurationID": "moved",
            "serviceInterfaces": [{"uniqueID": "one", "name": "example.One", "servicePublishers": "all"}],
            "servicePublishers": [{"uniqueID": "rpc", "name": "rpcservicepublisher",
                                   "endpointsToBindTo": ["unix:moved.socket"]}]}""")
        runtime = self.scratch / "runtime"
        runtime.mkdir(mode=0o700, exist_ok=True)
        self.agent("run", configuration, "--once", "--progress", "plain", "--runtime-directory", runtime, root=root)

    def test_publishes_a_configuration(self):
        self.publish(self.root)

    def test_publishes_a_configuration_when_everything_was_stripped(self):
        stripped = self.scratch / "stripped"
        run("cmake", "--install", build, "--strip", "--prefix", stripped)
        self.publish(stripped)


class FindPackage(InstalledTest):
    def build_consumer(self, host, *arguments):
        directory = self.scratch / f"find-{host}"
        configure(CONSUMER, directory, prefix_path(self.root), f"-DCONSUMER_HOST={host}",
                  f"-DCONSUMER_EXAMPLES={self.examples}", *arguments)
        run("cmake", "--build", directory)
        return directory

    def test_with_the_standalone_host(self):
        self.run_consumer(self.build_consumer("standalone") / "consumer")

    def test_with_a_host_of_the_consumers_own(self):
        program = self.build_consumer("own") / "consumer"
        self.assertNotIn("standalone_host", run("ldd", program))
        self.run_consumer(program)

    def test_the_installed_examples_are_a_project(self):
        directory = self.scratch / "examples"
        configure(self.examples, directory, prefix_path(self.root))
        run("cmake", "--build", directory)
        self.run_consumer(directory / "my-agent")

    def test_builds_bundles(self):
        directory = self.build_consumer("standalone")
        self.assertEqual(run(directory / "greeted", directory / "greeter.so"), "Good day, stranger\n")

    def test_with_another_compiler(self):
        compiler = "g++" if "clang" in cache("CMAKE_CXX_COMPILER") else "clang++"
        directory = self.scratch / "another-compiler"
        configure(CONSUMER, directory, prefix_path(self.root), f"-DCMAKE_CXX_COMPILER={compiler}",
                  f"-DCONSUMER_EXAMPLES={self.examples}")
        run("cmake", "--build", directory, "--target", "consumer", "greeter", "greeted")
        self.run_consumer(directory / "consumer")
        self.assertEqual(run(directory / "greeted", directory / "greeter.so"), "Good day, stranger\n")
        if provider() == "standalone":  # the other one's text forms of maps have other symbols with either compiler
            run("cmake", "--build", directory, "--target", "printed")
            self.assertEqual(run(directory / "printed"), '{"map" : {"name" : "inner"}}\n')

    def test_a_wrong_bundle_is_refused_with_the_place_of_the_mistake(self):
        good = '{"bundle.symbolic_name": "good"}'
        for manifest, arguments, message in [
                (good, "SOURCE greeter.cpp", "spf_add_bundle(wrong): unknown arguments: SOURCE;greeter.cpp"),
                (None, "", "The manifest of wrong is no file: {place}"),
                ("", "", "The manifest of wrong, {place}: "),
                ('{"bundle.symbolic_name": "good",', "", "The manifest of wrong, {place}: "),
                ("{}", "", "The manifest of wrong, {place}: member 'bundle.symbolic_name' not found"),
                ('{"bundle.symbolic_name": ""}', "", "{place}: bundle.symbolic_name is '', of type STRING"),
                ('{"bundle.symbolic_name": "no-name"}', "", "{place}: bundle.symbolic_name is 'no-name', of type STRING"),
                ('{"bundle.symbolic_name": 7}', "", "{place}: bundle.symbolic_name is '7', of type NUMBER")]:
            with self.subTest(manifest=manifest, arguments=arguments):
                directory = pathlib.Path(tempfile.mkdtemp(prefix="wrong-", dir=self.scratch))
                place = directory / "manifest.json"
                if manifest is not None:
                    place.write_text(manifest)
                (directory / "CMakeLists.txt").write_text(
                    "cmake_minimum_required(VERSION 3.25)\nproject(wrong LANGUAGES CXX)\n"
                    "find_package(spf-frameworksetup REQUIRED)\n"
                    f"spf_add_bundle(wrong MANIFEST manifest.json {arguments})\n")
                output = configure(directory, directory / "build", prefix_path(self.root), expect_failure=True)
                self.assertIn("".join(message.format(place=place).split()), "".join(output.split()))  # CMake breaks lines

    def find(self, arguments, *, prefix=None, minimum="3.25", expect_failure=False):
        """Configures a project that consists of one find_package()."""
        directory = pathlib.Path(tempfile.mkdtemp(prefix="find-", dir=self.scratch))
        (directory / "CMakeLists.txt").write_text(
            f"cmake_minimum_required(VERSION {minimum})\nproject(finder LANGUAGES CXX)\n"
            f"find_package(spf-frameworksetup {arguments})\n"
            "get_property(targets DIRECTORY PROPERTY IMPORTED_TARGETS)\nmessage(STATUS targets=${targets})\n"
            "if(TARGET spf::agent)\n get_target_property(agent spf::agent LOCATION)\n message(STATUS agent=${agent})\n"
            "endif()\nmessage(STATUS root=${SPF_INSTALLATION_ROOT})\n")
        return configure(directory, directory / "build", prefix_path(prefix or self.root),
                         expect_failure=expect_failure)

    def test_all_components_are_found(self):
        output = self.find("REQUIRED COMPONENTS library standalone-host bundles agent")
        self.assertIn(f"agent={self.root}/bin/spf-agent", output)
        self.assertIn(f"root={self.root}", output)

    def test_versions_of_the_same_major_number_are_compatible(self):
        self.find("0.1 REQUIRED")
        self.assertIn("0.1.0", self.find("1.0 REQUIRED", expect_failure=True))

    def test_an_unknown_component_is_refused_by_name(self):
        self.assertIn("nonsense", self.find("REQUIRED COMPONENTS nonsense", expect_failure=True))

    def test_where_a_component_is_missing_nothing_is_found(self):
        self.assertNotIn("spf::", self.find("QUIET COMPONENTS nonsense library"))
        self.assertIn("spf::", self.find("REQUIRED COMPONENTS library OPTIONAL_COMPONENTS nonsense"))

    def test_the_policies_of_the_consumer_do_not_matter(self):
        self.find("REQUIRED COMPONENTS agent", minimum="3.1")

    def test_a_component_can_be_installed_and_found_alone(self):
        prefix = self.scratch / "library-only"
        run("cmake", "--install", build, "--prefix", prefix, "--component", "library")
        self.find("REQUIRED COMPONENTS library", prefix=prefix)
        self.assertIn("standalone-host",
                      self.find("REQUIRED COMPONENTS standalone-host", prefix=prefix, expect_failure=True))


class AddSubdirectory(InstalledTest):
    def build_consumer(self, host, root, *targets):
        directory = self.scratch / f"sub-{host}"
        configure(CONSUMER, directory, prefix_path(), f"-DCONSUMER_HOST={host}", f"-DCONSUMER_SOURCE={SOURCE}",
                  f"-DCONSUMER_EXAMPLES={SOURCE / 'examples'}",
                  f"-DCONSUMER_ROOT={root or directory / 'spf-frameworksetup/root'}",
                  f"-DSPF_MICROSERVICES={provider()}")
        run("cmake", "--build", directory, "--target", "consumer", *targets)
        return directory

    def test_with_the_standalone_host(self):
        directory = self.build_consumer("standalone", None, "spf-bundles", "spf-configuration-admin")
        self.run_consumer(directory / "consumer")

    def test_builds_bundles(self):
        directory = self.build_consumer("standalone", None, "greeter", "greeted")
        self.assertEqual(run(directory / "greeted", directory / "greeter.so"), "Good day, stranger\n")

    def test_the_names_of_the_examples_are_the_parents(self):
        directory = self.build_consumer("standalone", None)
        self.assertNotIn("first_steps", run("cmake", "--build", directory, "--target", "help"))

    def test_with_a_host_of_the_consumers_own(self):
        directory = self.build_consumer("own", self.root)
        self.assertFalse((directory / "spf-frameworksetup/standalone/host").exists())
        self.run_consumer(directory / "consumer")

    def test_without_a_host_the_parent_is_told(self):
        self.assertIn("set SPF_HOST", configure(
            CONSUMER, self.scratch / "sub-none", prefix_path(), "-DCONSUMER_HOST=standalone",
            f"-DCONSUMER_SOURCE={SOURCE}", f"-DSPF_MICROSERVICES={provider()}", "-DSPF_BUILD_STANDALONE=OFF",
            expect_failure=True))

    def test_a_parent_project_installs_nothing_of_this_one(self):
        directory = self.build_consumer("own", self.root, "all")
        run("cmake", "--install", directory, "--prefix", self.scratch / "parent")
        self.assertFalse((self.scratch / "parent").exists())


class LibraryAlone(unittest.TestCase):
    def test_needs_no_host(self):
        configure(SOURCE, scratch / "alone", prefix_path(), f"-DSPF_MICROSERVICES={provider()}",
                  "-DSPF_BUILD_STANDALONE=OFF")


class AbsoluteDirectories(unittest.TestCase):
    def test_are_refused_as_what_lies_in_them_cannot_be_moved(self):
        self.assertIn("CMAKE_INSTALL_LIBDIR is /usr/lib", configure(
            SOURCE, scratch / "absolute", prefix_path(), f"-DSPF_MICROSERVICES={provider()}",
            "-DCMAKE_INSTALL_LIBDIR=/usr/lib", expect_failure=True))


class SeveralConfigurations(unittest.TestCase):
    def test_each_has_an_installation_root(self):
        directory = scratch / "several"
        run("cmake", "-G", "Ninja Multi-Config", "-S", SOURCE, "-B", directory, prefix_path(),
            f"-DSPF_MICROSERVICES={provider()}", "-DSPF_BUILD_TESTS=OFF")
        targets = run("ninja", "-C", directory, "-f", "build-Release.ninja", "-t", "targets", "all")
        bundles = set(re.findall(r"^(?:\S*/)?(root/\S*darwinarm64/\S*\.so): ", targets, re.MULTILINE))
        self.assertEqual({os.path.dirname(bundle) for bundle in bundles},
                         {f"root/Release/bin/darwinarm64/{name}"
                          for name in ["microservices", *(f"spf/{name}" for name in BUNDLE_DIRECTORIES)]})
        self.assertIn("\nroot/Release/bin/spf-agent: ", targets)


class PkgConfig(InstalledTest):
    def flags(self, package):
        environment = {**os.environ, "PKG_CONFIG_PATH": str(self.root / "lib/pkgconfig")}
        return run("pkg-config", "--cflags", "--libs", package, env=environment).split()

    def compile(self, program, sources, flags):
        libraries = [self.root / "lib", *(f"{prefix}/lib" for prefix in cache("CMAKE_PREFIX_PATH").split(";") if prefix)]
        rpaths = [f"-Wl,-rpath,{library}" for library in libraries]
        run("g++", "-std=c++17", f'-DSPF_INSTALLATION_ROOT="{self.root}"', "-o", program, *sources, *flags, *rpaths)
        return program

    def test_with_the_standalone_host(self):
        program = self.compile(self.scratch / "pkg-standalone", [self.examples / "first_steps.cpp"],
                               self.flags("spf-standalone-host"))
        self.run_consumer(program)

    def test_a_program_that_names_nothing_of_the_host_is_linked_to_it_all_the_same(self):
        program = self.compile(self.scratch / "pkg-unpublish", [self.examples / "unpublish.cpp"],
                               [*self.flags("spf-standalone-host"), "-Wl,--as-needed"])
        self.assertIn("standalone_host", run("ldd", program))

    def test_with_a_host_of_the_consumers_own(self):
        sources = [self.examples / "own_host.cpp", self.examples / "minimal_host/MinimalHost.cpp"]
        flags = self.flags("spf-frameworksetup")
        if provider() == "installed":  # its Configuration Admin needs this library and records no path to it
            flags += ["-Wl,--no-as-needed", f"-L{cache('CMAKE_PREFIX_PATH')}/lib", "-lusAsyncWorkService"]
        program = self.compile(self.scratch / "pkg-own", sources, flags)
        self.assertNotIn("standalone_host", run("ldd", program))
        self.run_consumer(program)

    def test_every_header_compiles_alone_and_without_warnings(self):
        headers = [name for name in sorted(files_below(self.root / "include")) if "standalone-microservices" not in name]
        self.assertTrue(headers)
        flags = [flag for flag in self.flags("spf-standalone-host") if not flag.startswith("-l")]
        for header in headers:
            source = self.scratch / "header.cpp"
            source.write_text(f"#include <{header}>\n")
            run("g++", "-std=c++17", "-fsyntax-only", "-Wall", "-Wextra", "-Wpedantic", "-Werror", *flags, source)

    def test_programs_may_be_written_in_later_standards(self):
        headers = sorted((self.root / "include").rglob("*.h*"))
        text = "#define US_BUNDLE_NAME later\n" + "".join(f'#include "{header}"\n' for header in headers)
        if provider() == "standalone":  # which the installed one does not take
            text += 'auto const filter = cppmicroservices::LDAPProp("name") != true;\n'
        source = self.scratch / "later.cpp"
        source.write_text(text)
        flags = [flag for flag in self.flags("spf-standalone-host") if not flag.lower().startswith(("-l", "-wl"))]
        for compiler, standard in ("clang++", "c++20"), ("g++", "c++2b"):
            run(compiler, f"-std={standard}", "-fsyntax-only", "-Wall", "-Wextra", "-Werror", *flags, source)


class Debian(InstalledTest):
    """The Debian package, installed and removed below a root of its own with the administrative files of that root."""

    OPT = "opt/spf-frameworksetup"

    @classmethod
    def setUpClass(cls):
        if provider() != "standalone":
            raise unittest.SkipTest("a package records the packages that it needs, and CppMicroServices is in none")
        super().setUpClass()
        run("cpack", "-G", "DEB", "-B", cls.scratch, cwd=build)
        packages = list(cls.scratch.glob("*.deb"))
        assert len(packages) == 1, packages
        cls.package = packages[0]

    def field(self, name):
        return run("dpkg-deb", "--field", self.package, name).strip()

    def dpkg(self, root, *arguments):
        run("dpkg", f"--root={root}", f"--log={self.scratch / 'dpkg.log'}", "--force-not-root", "--force-depends",
            "--force-bad-path", *arguments)

    def empty_root(self):
        root = pathlib.Path(tempfile.mkdtemp(prefix="root-", dir=self.scratch))
        administration = root / "var/lib/dpkg"
        for name in ("info", "updates", "triggers"):
            (administration / name).mkdir(parents=True)
        (administration / "status").touch()
        return root

    def test_holds_what_is_installed(self):
        extracted = self.scratch / "extracted"
        run("dpkg", "-x", self.package, extracted)
        self.assertEqual(files_below(extracted), {f"{self.OPT}/{name}" for name in files_below(self.root)})

    def test_names_the_packages_that_it_needs(self):
        self.assertEqual(self.field("Package"), "spf-frameworksetup")
        self.assertEqual(self.field("Version"), "0.1.0")
        for package in ("libboost-log1.74.0", "libstdc++6", "libc6"):
            self.assertIn(package, self.field("Depends"))

    def test_works_when_installed_and_leaves_nothing_when_removed(self):
        root = self.empty_root()
        before = {path for path in root.rglob("*") if "var" not in path.relative_to(root).parts}
        self.dpkg(root, "--install", self.package)
        run(root / self.OPT / "bin/spf-agent", "validate",
            root / self.OPT / "share/spf-frameworksetup/examples/demo-binder.json")
        self.dpkg(root, "--remove", "spf-frameworksetup")
        after = {path for path in root.rglob("*") if "var" not in path.relative_to(root).parts}
        self.assertEqual(after, before)


class DebianForAnotherMachine(unittest.TestCase):
    def test_names_the_architecture_that_is_compiled_for(self):
        directory = pathlib.Path(tempfile.mkdtemp(prefix="cross-", dir=scratch))
        (directory / "CMakeLists.txt").write_text(f"""
            cmake_minimum_required(VERSION 3.25)
            project(cross-compiled VERSION 1 DESCRIPTION "What a toolchain file says, without a compiler" LANGUAGES NONE)
            set(CMAKE_CROSSCOMPILING ON)
            set(CMAKE_LIBRARY_ARCHITECTURE s390x-linux-gnu)
            install(FILES CMakeLists.txt DESTINATION .)
            include({SOURCE}/cmake/SpfDebianPackage.cmake)
        """)
        run("cmake", "-S", directory, "-B", directory / "build")
        run("cpack", "-G", "DEB", "-B", directory, cwd=directory / "build")
        (package,) = directory.glob("*.deb")
        self.assertEqual(run("dpkg-deb", "--field", package, "Architecture").strip(), "s390x")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True, type=pathlib.Path)
    arguments, rest = parser.parse_known_args()
    build = arguments.build.resolve()
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)
