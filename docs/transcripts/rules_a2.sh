show 'biz_console rules A2'
