"""The constants that client and server share, the document of the protocol and the words about it say the same."""
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools" / "conform"))

from protocol import ORDINARY, Protocol  # noqa: E402

HTTP_HEADERS = {"range", "content-range", "content-md5", "retry-after", "etag", "accept-ranges"} | ORDINARY
OPERATION_WORDS = {"kProxyUploadType", "kProxyMultipart", "kProxyResume"}


def constants(name):
    text = (ROOT / "interfaces/cloud/wire" / name).read_text(encoding="utf-8")
    return dict(re.findall(r"inline constexpr const char\* (k\w+) =\s*\"([^\"]*)\"", text))


def walk(value):
    """Every dictionary below a value."""
    if isinstance(value, dict):
        yield value
        for inner in value.values():
            yield from walk(inner)
    elif isinstance(value, list):
        for inner in value:
            yield from walk(inner)


class WireNames(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.protocol = Protocol()
        self.nodes = list(walk(self.protocol.document))
        self.words = (ROOT / "docs/cloud-protocol.md").read_text(encoding="utf-8")

    # CLOUD-WIRE-01
    def test_every_code_is_documented_and_no_other(self):
        codes = set(constants("codes.h").values())
        documented = {code for node in self.nodes for name, schema in node.get("properties", {}).items()
                      if name == "errorCode" and isinstance(schema, dict) for code in schema["enum"] if code}
        self.assertEqual(codes, documented)
        for code in codes:
            self.assertIn(f"`{code}`", self.words)

    # CLOUD-WIRE-01
    def test_every_field_is_documented_and_no_other(self):
        fields = set(constants("fields.h").values())
        documented = set()
        for node in self.nodes:
            if node.get("type") == "object":
                documented |= node.get("properties", {}).keys()
            if node.get("in") in ("query", "header"):
                documented.add(node["name"])
            if isinstance(node.get("headers"), dict) and "description" in node:
                documented |= {name for name, header in node["headers"].items() if "schema" in header}
        documented = {name for name in documented if name.lower() not in HTTP_HEADERS}
        routes = {value for name, value in constants("routes.h").items() if name in OPERATION_WORDS}
        self.assertEqual(fields, documented - (routes - fields))
        for field in fields:
            self.assertRegex(self.words, rf"\b{re.escape(field)}\b", "the words about the protocol leave it out")

    # CLOUD-WIRE-01
    def test_every_route_is_made_of_the_shared_constants_and_no_other(self):
        routes = {name: value for name, value in constants("routes.h").items() if name not in OPERATION_WORDS}
        templates, used = set(self.protocol.document["paths"]), set()
        for template in templates:
            exact = [name for name, value in routes.items() if value == template]
            head, _, tail = template.partition("{")
            parts = [[name for name, value in routes.items() if value == head]]
            suffix = tail.rpartition("}")[2]
            if suffix:
                parts.append([name for name, value in routes.items() if value == suffix])
            composed = [name for part in parts for name in part] if all(parts) else []
            self.assertTrue(exact or composed, f"{template} is not made of the constants")
            used |= set(exact or composed)
        self.assertEqual(set(routes), used, "a constant that no documented route uses")
        for value in routes.values():
            self.assertIn(value, self.words)

    # CLOUD-WIRE-01
    def test_the_words_of_the_file_proxy_are_documented(self):
        words = constants("routes.h")
        for operation in self.protocol.operations:
            if operation.name in ("proxyCreate", "proxyUpdate"):
                parameter = operation.parameters("query")[words["kProxyUploadType"]]
                self.assertEqual({words["kProxyMultipart"], words["kProxyResume"]}, set(parameter["schema"]["enum"]))

    # CLOUD-WIRE-02
    def test_every_reference_of_the_document_leads_somewhere_and_every_name_is_used(self):
        used = set()
        for node in self.nodes:
            if "$ref" in node:
                self.assertTrue(self.protocol.resolve(node))
                used.add(node["$ref"].rpartition("/")[2])
        components = self.protocol.document["components"]
        self.assertEqual(set(), (components["schemas"].keys() | components["responses"].keys()) - used)

    # CLOUD-WIRE-02
    def test_every_operation_has_a_name_of_its_own_and_every_field_its_limits(self):
        names = [operation.name for operation in self.protocol.operations]
        self.assertEqual(len(names), len(set(names)))
        for node in self.nodes:
            if node.get("type") == "integer":
                self.assertTrue("enum" in node or {"minimum", "maximum"} <= node.keys(), f"no limits: {node}")


if __name__ == "__main__":
    unittest.main(verbosity=2)
