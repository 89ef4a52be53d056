"""The package held against the C interface, on every file of tests/media."""

import copy
import ctypes
import functools
import io
import mmap
import os
import pickle
import signal
import subprocess
import tarfile
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import pytest

import kmhash
from kmhash import Difference, Hash, KmhashError

ROOT = Path(__file__).parents[2]
MEDIA = ROOT / "tests/media"
FILES = sorted(file for file in MEDIA.iterdir() if file.is_file())
PHOTO = MEDIA / "jpeg-baseline.jpg"
LIBRARY = ctypes.CDLL(os.environ.get("KMHASH_LIBRARY", str(ROOT / "build/release/libKMHashGenerator.so")))


def in_c(function, *arguments):
    """What the C interface answers: a text, or a result code."""
    text = ctypes.create_string_buffer(129)
    code = function(*arguments, text, 129, None) if len(arguments) == 1 else function(*arguments, text, 129)
    return text.raw[:128].decode("latin-1") if code == 0 else code


def in_python(function, *arguments, **options):
    try:
        return function(*arguments, **options).text
    except KmhashError as error:
        return int(error.code)


@pytest.mark.parametrize("file", FILES, ids=lambda file: file.name)
def test_says_what_the_c_interface_says(file):
    data, path = file.read_bytes(), os.fsencode(file)
    for flags in range(4):
        options = {"prefer": 4 if flags & 1 else 3, "whole": bool(flags & 2)}
        expected = in_c(LIBRARY.kmhashHashFile, path, flags)
        for source in (file, io.BytesIO(data)):
            assert in_python(kmhash.hash, source, **options) == expected
        if isinstance(expected, str):
            assert kmhash.hash_both(file, prefer=options["prefer"])[options["whole"]].text == expected
            assert [kmhash.verify(source, expected) for source in (str(file), io.BytesIO(data))] == [0, 0]
            assert kmhash.identify(io.BytesIO(data), prefer=options["prefer"]).id == Hash(expected).algorithm_id
    for source in (path, io.BytesIO(data)):
        assert in_python(kmhash.hash, source, quick=True) == in_c(LIBRARY.createQuickFileHash, path)


def test_takes_whatever_reads_and_seeks(tmp_path):
    expected = kmhash.hash(PHOTO).text
    with PHOTO.open("rb") as file, mmap.mmap(file.fileno(), 0, prot=mmap.PROT_READ) as mapped:
        assert [kmhash.hash(source).text for source in (file, mapped, file.fileno())] == [expected] * 3
        assert not file.closed


def test_a_hash_is_a_value():
    value = kmhash.hash(PHOTO)
    other = Hash.parse(value.text[:8] + "415544494F" + value.text[18:])  # a file type is not compared
    assert (value, hash(value)) == (other, hash(other))
    assert copy.copy(value) == pickle.loads(pickle.dumps(value)) == Hash.parse(str(value))
    assert (value.file_type, value.format_type, str(value.algorithm)) == ("PHOTO", "JPEG", "JPEG")
    assert (value.major_version, value.minor_version, value.is_whole) == (3, 0, False)
    differences = [(0, "VERSION"), (18, "CONTENT"), (58, "META"), (98, "FORMAT"), (114, "ALGORITHM")]
    for position, name in differences:
        changed = Hash(value.text[:position] + "9" + value.text[position + 1 :])
        assert value.compare(changed) == Difference[name]
        assert value != changed
    assert Hash(value.text.lower()).text == value.text
    assert Hash(value.text[:116] + "F1" + value.text[118:]).is_whole
    assert Hash(value.text[:114] + "77" + value.text[116:]).algorithm == (0x77, "UNKNOWN")
    assert not kmhash.can_verify("9" + value.text[1:])
    for text in ("", value.text[:-1], value.text + "0", value.text[:-1] + "g", "x" + value.text[1:], value.text + "\n"):
        with pytest.raises(ValueError, match="no hash text"):
            Hash.parse(text)


def test_what_fails_says_why():
    error = pickle.loads(pickle.dumps(KmhashError(-3, "a.jpg")))
    assert (error.code, error.name, error.file) == (-3, "HASHCREATE_FORMAT_ERROR", "a.jpg")
    with pytest.raises(ValueError, match="version"):
        kmhash.hash(PHOTO, prefer=5)  # type: ignore[arg-type]
    with pytest.raises(ValueError, match="quick"):
        kmhash.hash(PHOTO, quick=True, whole=True)


class Failing(io.BytesIO):
    def read(self, count=-1, /):
        if self.tell() > 100:
            self.close()  # whoever asks again gets a ValueError
            raise ConnectionError("gone")
        return super().read(min(count, 50))


def answering(answer):
    return type("Answering", (io.BytesIO,), {"read": lambda self, count: answer})(b"x")


@pytest.mark.parametrize("quick", [False, True])
@pytest.mark.parametrize(
    ("source", "error", "words"),
    [
        ("no-such-file", FileNotFoundError, "no-such-file"),
        (MEDIA, IsADirectoryError, "media"),
        (f"{PHOTO}\0", ValueError, "null byte"),
        (lambda: Failing(PHOTO.read_bytes()), ConnectionError, "gone"),
        (io.StringIO(), TypeError, 'open it with "rb"'),
        (functools.partial(tempfile.NamedTemporaryFile, "w+"), TypeError, 'open it with "rb"'),
        (answering("x"), TypeError, "bytes"),
        (answering(None), BlockingIOError, "nothing yet"),
        (io.BytesIO(), KmhashError, r"HASHCREATE_NON_SUPPORTED \(-9\)"),
        (1.5, TypeError, "float"),
        (True, TypeError, "bool"),
    ],
)
def test_failures(source, error, words, quick):
    with pytest.raises(error, match=words):
        kmhash.hash(source() if callable(source) else source, quick=quick)


def test_a_source_distribution_has_what_the_library_is_built_from(tmp_path, monkeypatch):
    monkeypatch.chdir(ROOT / "python")
    monkeypatch.syspath_prepend(".")
    pytest.importorskip("scikit_build_core")  # where the package was not built in this environment
    import backend

    with tarfile.open(tmp_path / backend.build_sdist(str(tmp_path))) as archive:
        archive.extractall(tmp_path)
    (unpacked,) = tmp_path.glob("kmhash-*/")
    options = [f"-DKMHASH_{part}=OFF" for part in ("COMMAND", "INSTALL", "JNI", "TESTS")]
    subprocess.run(["cmake", "-S", unpacked / "library", "-B", tmp_path / "build", *options], check=True)
    for folder in ("jni", "cmake"):
        packed = {file.relative_to(unpacked / "library") for file in (unpacked / "library" / folder).rglob("*")}
        assert packed == {file.relative_to(ROOT) for file in (ROOT / folder).rglob("*")}


def test_the_extension_is_hardened():
    told = subprocess.check_output(["readelf", "--wide", "--sections", "--dynamic", kmhash._kmhash.__file__], text=True)
    if ".symtab" in told:
        pytest.skip("not a release, which has no symbols")
    assert "BIND_NOW" in told


def test_a_signal_ends_the_reading_of_a_file(tmp_path):
    large = tmp_path / "large"
    large.write_bytes(PHOTO.read_bytes())
    os.truncate(large, 400_000_000)
    signal.signal(signal.SIGALRM, signal.default_int_handler)
    with large.open("rb", buffering=0) as file:
        signal.setitimer(signal.ITIMER_REAL, 0.05)
        with pytest.raises(KeyboardInterrupt):
            kmhash.hash(file, whole=True)
        assert file.tell() < 400_000_000


def test_paths_are_hashed_beside_other_threads(tmp_path):
    large = tmp_path / "large"
    large.write_bytes(PHOTO.read_bytes())
    os.truncate(large, 400_000_000)
    with ThreadPoolExecutor(4) as pool:
        begin = last = time.monotonic()
        longest = 0.0
        hashing = pool.submit(kmhash.hash, large, whole=True)
        while not hashing.done():
            now = time.monotonic()
            longest, last = max(longest, now - last), now
        assert longest < (last - begin) / 2
        one_by_one = [in_python(kmhash.hash, file, whole=True) for file in FILES]
        assert list(pool.map(lambda file: in_python(kmhash.hash, file, whole=True), FILES)) == one_by_one
