"""Running kelvara in a private world."""

import json
import subprocess

from world import KELVARA

OK, FAILURE, USAGE = 0, 1, 2


class Answer:
    def __init__(self, process):
        self.status = process.returncode
        self.out = process.stdout.decode("utf-8", "surrogateescape")
        self.err = process.stderr.decode("utf-8", "surrogateescape")

    @property
    def lines(self):
        return self.out.splitlines()

    @property
    def json(self):
        assert self.status == OK, self.err
        return json.loads(self.out)

    def assert_refused(self, status, *texts):
        """Failed with this status, said why and what to do, and wrote nothing else."""
        assert self.status == status, (self.out, self.err)
        assert self.out == ""
        assert self.err.startswith("kelvara: ")
        what, _, remedy = self.err.partition("\n")
        assert len(what) > len("kelvara: ") and remedy.strip(), self.err
        for text in texts:
            assert text in self.err, self.err


def kelvara(world, *arguments, environment=None, cwd=None):
    values = dict(world.environment)
    for name, value in (environment or {}).items():
        if value is None:
            values.pop(name, None)
        else:
            values[name] = value
    process = subprocess.run(
        world.command(*arguments, program=KELVARA),
        env=values,
        cwd=cwd or world.documents,
        capture_output=True,
        stdin=subprocess.DEVNULL,
        timeout=60,
    )
    return Answer(process)
