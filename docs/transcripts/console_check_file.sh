cp "$tree/docs/transcripts/replies.txt" .
show 'biz_console check --file replies.txt'
