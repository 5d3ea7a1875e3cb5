#!/usr/bin/env python3
"""sbom.py FILE ROOT PART...: is FILE an SPDX 2.3 document of what lies below ROOT, with these parts in it?

What Debian has cannot validate such a document, so this looks for what the standard demands of one like ours.
"""

import hashlib
import json
import pathlib
import re
import sys

wrong = []


def expect(holds, what):
    if not holds:
        wrong.append(what)


def has(element, *names):
    for name in names:
        expect(element.get(name) not in (None, ""), f"{element.get('SPDXID')} has no {name}")


document = json.loads(pathlib.Path(sys.argv[1]).read_text())
root = pathlib.Path(sys.argv[2])
packages, files, relations = document["packages"], document["files"], document["relationships"]
has(document, "name", "documentNamespace")
expect(document["spdxVersion"] == "SPDX-2.3" and document["dataLicense"] == "CC0-1.0", "no SPDX 2.3")
expect(document["SPDXID"] == "SPDXRef-DOCUMENT", "the document's ID")
expect(re.fullmatch(r"\w+://[^#]+", document["documentNamespace"]), "the namespace is no URI")
expect(re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", document["creationInfo"]["created"]), "the time")
for creator in document["creationInfo"]["creators"]:
    expect(re.match(r"(Tool|Organization|Person): \S", creator), f"creator {creator}")

ids = [document["SPDXID"], *(element["SPDXID"] for element in packages + files)]
expect(len(ids) == len(set(ids)), "an ID is there twice")
for name in ids:
    expect(re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", name), f"ID {name}")
licence = r"NOASSERTION|NONE|[A-Za-z0-9.-]+( (WITH|AND|OR) [A-Za-z0-9.-]+)*"
for package in packages:
    has(package, "name", "versionInfo", "downloadLocation", "licenseConcluded", "licenseDeclared", "copyrightText")
    expect(re.fullmatch(r"NOASSERTION|(Organization|Person): \S.*", package["supplier"]), package["supplier"])
    expect(re.fullmatch(licence, package["licenseDeclared"]), package["licenseDeclared"])
    for own in re.findall(r"LicenseRef-[A-Za-z0-9.-]+", package["licenseDeclared"]):
        told = [text["licenseId"] for text in document.get("hasExtractedLicensingInfos", [])]
        expect(own in told, f"no words of {own}")

sums = []
for file in files:
    has(file, "licenseConcluded", "copyrightText")
    for checksum in file["checksums"]:
        content = (root / file["fileName"]).read_bytes()
        told = checksum["checksumValue"]
        expect(hashlib.new(checksum["algorithm"], content).hexdigest() == told, f"{file['fileName']} has other bytes")
    sums += [sum["checksumValue"] for sum in file["checksums"] if sum["algorithm"] == "SHA1"]
code = packages[0]["packageVerificationCode"]["packageVerificationCodeValue"]
expect(hashlib.sha1("".join(sorted(sums)).encode()).hexdigest() == code, "the verification code")
expect(len(sums) == len(files), "a file without SHA1")

known = [(r["spdxElementId"], r["relationshipType"], r["relatedSpdxElement"]) for r in relations]
for one, _, other in known:
    expect(one in ids and other in ids, f"a relation of {one} and {other}, of which one is not there")
expect(("SPDXRef-DOCUMENT", "DESCRIBES", packages[0]["SPDXID"]) in known, "it describes nothing")
for file in files:
    expect((packages[0]["SPDXID"], "CONTAINS", file["SPDXID"]) in known, f"{file['fileName']} is in no package")
names = {package["name"] for package in packages[1:]}
expect(names == set(sys.argv[3:]), f"the parts are {sorted(names)}")
linked = {other for _, relation, other in known if relation in ("DYNAMIC_LINK", "STATIC_LINK")}
expect(linked == {package["SPDXID"] for package in packages[1:]}, "a part is linked in no way")

sys.exit("\n".join(f"{sys.argv[1]}: {what}" for what in wrong) or 0)
