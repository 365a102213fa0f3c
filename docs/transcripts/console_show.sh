cp "$tree/tests/data/recordings/device_faults.jsonl" site.jsonl
show 'biz_console show site.jsonl --command F1/05'
