"""Holds docs/cloud-protocol.md against docs/openapi.json: routes, statuses, codes, and the fields of every route.

What the page must keep to, so that it can be read: a route is written as a verb and a path in code marks; its fields
stand in braces in code marks, in the same table row, list item or section; one table tells the statuses of each route,
another the codes."""
import json
import re

EVERYWHERE = {"200", "429", "503"}
NO_LIMIT = {"PUT /store/{bucket}/{object}", "PUT /proxy/{session}"}  # where no 413 comes
ROUTE = re.compile(r"\b(GET|POST|PUT|PATCH|DELETE) `(/[^`?]*)[^`]*`")
BRACES = re.compile(r"`([^`]*\{[^`]*\}[^`]*)`")
LITERALS = {"ok", "folder", "Base64", "of", "bytes", "entry", "blob", "cipher", "position", "errorCode", "description"}


def blocks_of(page):
    """The smallest pieces that belong together: a table row, a section with a route in its heading, a paragraph."""
    pieces, section = [], None
    for line in page.split("\n"):
        if line.startswith("#"):
            section = [line] if "`/" in line else None
            pieces += [section] if section else []
        elif section is not None:
            section.append(line)
        if not line.startswith("#") and (section is None or line.startswith("|")):
            pieces.append([line])
    return ["\n".join(piece) for piece in pieces]


def table_after(page, heading):
    """The cells of the first table behind a line, without its head."""
    behind = page[page.index(heading):].split("\n")
    begin = next(index for index, line in enumerate(behind) if line.startswith("|"))
    for line in behind[begin + 2:]:
        if not line.startswith("|"):
            return
        yield [cell.strip() for cell in line.strip("|").split("|")]


class Document:
    def __init__(self, text):
        self.whole = json.loads(text)
        self.operations = {f"{method.upper()} {path}": operation for path, methods in self.whole["paths"].items()
                           for method, operation in methods.items()}

    def resolve(self, node):
        while "$ref" in node:
            name = node["$ref"][2:].split("/")
            node = self.whole
            for key in name:
                node = node[key]
        return node

    def names(self, schema, into_entries=False):
        """The properties of a schema and of all below it; an entry is described once, by itself."""
        if schema.get("$ref", "").endswith("/Entry") and not into_entries:
            return set()
        schema = self.resolve(schema)
        found = set(schema.get("properties", {}))
        below = [*schema.get("properties", {}).values(), *schema.get("anyOf", [])]
        for inner in below + ([schema["items"]] if "items" in schema else []):
            found |= self.names(inner)
        return found

    def fields(self, operation):
        contents = [self.resolve(operation.get("requestBody", {})).get("content", {}),
                    self.resolve(operation["responses"]["200"]).get("content", {})]
        found = set()
        for content in contents:
            if "application/json" in content:
                found |= self.names(content["application/json"]["schema"])
        return found

    def codes(self, response):
        content = self.resolve(response).get("content", {}).get("application/json")
        schema = self.resolve(content["schema"]) if content else {}
        return [code for code in schema.get("properties", {}).get("errorCode", {}).get("enum", []) if code]


def statuses_of(document, name, operation, single):
    """As the page writes them: the status, and its codes where it has more than one on the whole page."""
    usual = set(EVERYWHERE)
    usual |= {"401"} if operation.get("security") != [] else set()
    usual |= {"500"} if name != "GET /health" else set()
    usual |= {"413"} if name not in NO_LIMIT else set()
    for status in usual - operation["responses"].keys():
        yield f"no {status}"
    for status, response in operation["responses"].items():
        if status not in usual:
            codes = [] if status in single else document.codes(response)
            yield " ".join([status, *sorted(f"`{code}`" for code in codes)])


def route_problems(document, page):
    told = {f"{verb} {path}" for block in blocks_of(page) for verb, path in ROUTE.findall(block)}
    for name in sorted(document.operations.keys() - told):
        yield f"the page leaves out the route {name}"
    for name in sorted(told - document.operations.keys()):
        yield f"{name} is no route of docs/openapi.json"


def code_problems(document, page):
    pairs = {(code, status) for operation in document.operations.values()
             for status, response in operation["responses"].items() for code in document.codes(response)}
    pairs.add(("21004001", "405"))  # of a method that is not named, so it stands at no operation
    told = {(cells[0].strip("`"), status.strip()) for cells in table_after(page, "| code | status |")
            for status in cells[1].split(",")}
    for code, status in sorted(pairs ^ told):
        where = "docs/openapi.json" if (code, status) in pairs else "the page"
        yield f"only {where} has {code} with status {status}"


def status_problems(document, page):
    by_status = {}
    for operation in document.operations.values():
        for status, response in operation["responses"].items():
            by_status.setdefault(status, set()).update(document.codes(response))
    single = {status for status, codes in by_status.items() if len(codes) < 2}
    rows = {" ".join(ROUTE.findall(cells[0])[0]): cells[1] for cells in table_after(page, "## Statuses of each route")}
    for name, operation in document.operations.items():
        wanted = set(statuses_of(document, name, operation, single))
        found = {" ".join([part.split()[0], *sorted(part.split()[1:])]) for part in rows.get(name, "none").split(",")
                 if part.strip()}
        if wanted != found:
            yield f"{name} answers {sorted(wanted)} in docs/openapi.json and {sorted(found)} on the page"


def field_problems(document, page):
    blocks = [(block, {f"{verb} {path}" for verb, path in ROUTE.findall(block)}) for block in blocks_of(page)]
    for name, operation in document.operations.items():
        own = " ".join(braces for block, names in blocks if name in names for braces in BRACES.findall(block))
        for field in sorted(document.fields(operation)):
            if not re.search(rf"\b{re.escape(field)}\b", own):
                yield f"{name}: the page leaves out \"{field}\""
    for block, names in blocks:
        known = {"keys", "items"}.union(*(document.fields(document.operations[name]) for name in names
                                          if name in document.operations))
        for braces in BRACES.findall(block) if names else []:
            if not braces.startswith("/"):
                for word in sorted(set(re.findall(r"[A-Za-z]\w+", braces)) - known - LITERALS):
                    yield f"{', '.join(sorted(names))}: \"{word}\" of the page is no field in docs/openapi.json"
    entry = page[page.index("called *entry* below"):].split("`")[1]
    for word in sorted(set(re.findall(r"\w+", entry)) ^ document.names(
            {"$ref": "#/components/schemas/Entry"}, into_entries=True)):
        yield f"the entry's \"{word}\" stands in one of the two only"


def problems(page, text):
    document = Document(text)
    for part in (route_problems, code_problems, status_problems, field_problems):
        yield from part(document, page)
