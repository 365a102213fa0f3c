cp "$tree/docs/transcripts/session.json" .
simulate 'biz_simulator --model A2 --port 15700 --fault F1/08=shortPayload'
show 'biz_console run session.json --device tcp://127.0.0.1:15700 --record site.jsonl --quiet' | elide 3 1
show 'biz_console replay site.jsonl'
