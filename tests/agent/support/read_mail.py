"""read_mail.py FOLDER: what Python's mail reader makes of 1.eml, 2.eml, ... as one JSON list."""
import email
import email.policy
import json
import os
import sys

mails = []
for name in sorted(os.listdir(sys.argv[1]), key=lambda n: int(n.split(".")[0])):
    with open(os.path.join(sys.argv[1], name), "rb") as file:
        mail = email.message_from_binary_file(file, policy=email.policy.default)
    mails.append({
        "subject": mail["subject"], "body": mail.get_content(),
        "message-id": mail["message-id"], "references": mail["references"],
        "in-reply-to": mail["in-reply-to"], "auto-submitted": mail["auto-submitted"],
        "date": int(mail["date"].datetime.timestamp()),
        "defects": [str(defect) for header in ("subject", "from", "to", "date", "message-id")
                    for defect in mail[header].defects] + [str(d) for d in mail.defects]})
print(json.dumps(mails))
