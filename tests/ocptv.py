"""The published rules of Open Compute test-and-validation output, schema version 2.0, as checks."""

import json
import re


def text(value):
    assert isinstance(value, str), f"{value!r} is no text"


def plain(value):
    assert isinstance(value, (str, bool, int, float)), f"{value!r} is no text, number or boolean"


def number(value):
    assert isinstance(value, int) and value >= 0, f"{value!r} is no number from 0"


def timestamp(value):
    assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z", value), f"{value!r} is no time in UTC"


def one_of(*values):
    def check(value):
        assert value in values, f"{value!r} is none of {values}"

    return check


def list_of(element):
    def check(value):
        assert isinstance(value, list) and value, f"{value!r} is no list"
        for item in value:
            element(item)

    return check


def record(needed, optional=None):
    def check(value):
        assert isinstance(value, dict) and needed.keys() <= value.keys(), f"{value!r} lacks one of {list(needed)}"
        for key, item in value.items():
            assert key in needed | (optional or {}), f"unknown key {key!r}"
            (needed | (optional or {}))[key](item)

    return check


def choice(fixed, **kinds):
    """A record with the fixed keys and just one of the others."""

    def check(value):
        (kind,) = value.keys() - fixed.keys()
        assert kind in kinds, f"unknown artifact {kind!r}"
        record(fixed | {kind: kinds[kind]})(value)

    return check


STATUS = one_of("COMPLETE", "ERROR", "SKIP")
LOG = record({"severity": one_of("DEBUG", "INFO", "WARNING", "ERROR", "FATAL"), "message": text})
ERROR = record({"symptom": text}, {"message": text, "softwareInfoIds": list_of(text)})
PART = record(
    {"name": text},
    {"type": one_of("UNSPECIFIED", "ASIC", "ASIC-SUBSYSTEM", "BUS", "FUNCTION", "CONNECTOR"), "location": text},
)
COMPARISONS = ("EQUAL", "NOT_EQUAL", "LESS_THAN", "LESS_THAN_OR_EQUAL", "GREATER_THAN", "GREATER_THAN_OR_EQUAL")
DUT = record(
    {"dutInfoId": text},
    {
        "name": text,
        "platformInfos": list_of(record({"info": text})),
        "softwareInfos": list_of(
            record(
                {"softwareInfoId": text, "name": text},
                {"version": text, "softwareType": one_of("UNSPECIFIED", "FIRMWARE", "SYSTEM", "APPLICATION")},
            )
        ),
        "hardwareInfos": list_of(record({"hardwareInfoId": text, "name": text}, {"location": text})),
    },
)
RUN = choice(
    {},
    testRunStart=record({"name": text, "version": text, "commandLine": text, "parameters": dict, "dutInfo": DUT}),
    testRunEnd=record({"status": STATUS, "result": one_of("PASS", "FAIL", "NOT_APPLICABLE")}),
    log=LOG,
    error=ERROR,
)
STEP = choice(
    {"testStepId": text},
    testStepStart=record({"name": text}),
    testStepEnd=record({"status": STATUS}),
    measurement=record(
        {"name": text, "value": plain},
        {
            "validators": list_of(record({"type": one_of(*COMPARISONS), "value": plain})),
            "hardwareInfoId": text,
            "subcomponent": PART,
        },
    ),
    diagnosis=record(
        {"verdict": text, "type": one_of("PASS", "FAIL", "UNKNOWN")},
        {"message": text, "hardwareInfoId": text, "subcomponent": PART},
    ),
    log=LOG,
    error=ERROR,
)
LINE = choice(
    {"sequenceNumber": number, "timestamp": timestamp},
    schemaVersion=record({"major": one_of(2), "minor": one_of(0)}),
    testRunArtifact=RUN,
    testStepArtifact=STEP,
)
ENDS = (("COMPLETE", "PASS"), ("COMPLETE", "FAIL"), ("ERROR", "NOT_APPLICABLE"), ("SKIP", "NOT_APPLICABLE"))


def check(output):
    """Checks every line and their order; gives the artifacts: kind and content."""
    lines = [json.loads(line) for line in output.splitlines()]
    for place, line in enumerate(lines):
        LINE(line)
        assert line["sequenceNumber"] == place
    assert lines == sorted(lines, key=lambda line: line["timestamp"]), "time goes backwards"
    artifacts = [line.get("testRunArtifact") or line.get("testStepArtifact") for line in lines[1:]]
    assert "schemaVersion" in lines[0] and "testRunStart" in artifacts[0] and "testRunEnd" in artifacts[-1]
    assert sum("testRunStart" in artifact or "testRunEnd" in artifact for artifact in artifacts) == 2
    end = artifacts[-1]["testRunEnd"]
    assert (end["status"], end["result"]) in ENDS

    dut = artifacts[0]["testRunStart"]["dutInfo"]
    hardware = [info["hardwareInfoId"] for info in dut["hardwareInfos"]]
    software = [info["softwareInfoId"] for info in dut["softwareInfos"]]
    assert len(set(hardware)) == len(hardware) and len(set(software)) == len(software)
    seen, open_steps = set(), set()
    for artifact in artifacts:
        step = artifact.get("testStepId")
        if "testStepStart" in artifact:
            assert step not in seen
            seen.add(step)
            open_steps.add(step)
        assert step is None or step in open_steps, f"step {step} is not open"
        if "testStepEnd" in artifact:
            open_steps.remove(step)
        for content in artifact.values():
            if isinstance(content, dict):
                assert content.get("hardwareInfoId", hardware[0]) in hardware
                assert set(content.get("softwareInfoIds", [])) <= set(software)
    assert not open_steps
    return [(kind, content) for artifact in artifacts for kind, content in artifact.items() if kind != "testStepId"]
