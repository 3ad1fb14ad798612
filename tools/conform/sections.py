"""Where docs/cloud-protocol.md tells what a check holds."""

# The heading of each area, and of those checks that stand elsewhere.
SECTIONS = {
    "health": "Account",
    "login": "Account",
    "token": "Rules for every call",
    "codes": "Rules for every call",
    "space": "Account",
    "keys": "Keys",
    "foreign": "Rules for every call",
    "plan": "Start: POST `/v1/uploads/start`",
    "exist": "Start: POST `/v1/uploads/start`",
    "exist.own-key": "Completion: POST `/v1/uploads/create-complete`, POST `/v1/uploads/update-complete`",
    "start": "Start: POST `/v1/uploads/start`",
    "address": "Address: POST `/v1/uploads/address`",
    "address.signed": "Store: PUT `/store/{bucket}/{object}?expires=&signature=`",
    "store": "Store: PUT `/store/{bucket}/{object}?expires=&signature=`",
    "store.unsent": "Object complete: POST `/v1/uploads/object-complete`",
    "complete": "Completion: POST `/v1/uploads/create-complete`, POST `/v1/uploads/update-complete`",
    "update": "Completion: POST `/v1/uploads/create-complete`, POST `/v1/uploads/update-complete`",
    "download": "GET `/v1/files/{id}/download`",
    "download.bytes": "GET `/store/{bucket}/{object}?expires=&signature=`",
    "download.ranges": "Files",
    "server": "Start: POST `/v1/uploads/start`",
    "multipart": "File proxy: `/proxy/{session}`",
    "resume": "File proxy: `/proxy/{session}`",
    "content": "Files",
    "thumbnail": "Files",
    "thumbnail.attached": "Encrypted content",
    "folder": "Files",
    "names": "Rules for every call",
    "file": "Files",
    "list": "Files",
    "changes": "Files",
    "answers.documented": "Statuses of each route",
    "answers.in-time": "What a client repeats, and how long it waits",
}


def section_of(name):
    return SECTIONS.get(name) or SECTIONS[name.partition(".")[0]]
